#pragma once

#include <QLabel>
#include <QWidget>

// The window that shows Nelvo's version.
class AboutWindow : public QWidget {
    Q_OBJECT

public:
    explicit AboutWindow(QWidget* parent = nullptr);

    // "Version {version}"; empty when the build carries no version.
    static QString versionText(const QString& version);

    QLabel* versionLabel() const { return versionLabel_; }

private:
    QLabel* versionLabel_ = nullptr;
};
