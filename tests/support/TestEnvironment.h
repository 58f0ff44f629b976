#pragma once

#include <QString>
#include <QTemporaryDir>

// Gives a test its own HOME and XDG folders so it never touches the user's
// settings or recordings. Create it before anything reads a standard path.
class TestEnvironment {
public:
    TestEnvironment();
    const QString& home() const { return home_; }
    QString settingsFilePath() const;

private:
    QTemporaryDir dir_;
    QString home_;
};
