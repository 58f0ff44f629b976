#pragma once

#include <QLabel>

// The popover's notice line: the one thing the user should know about now,
// hidden when there is nothing to say.
class NoticeLineView : public QLabel {
    Q_OBJECT
public:
    // What showing a notice changed: nothing, the words, or whether the line
    // is there at all (the popover's height then changes).
    enum class Change { none, text, shown };

    explicit NoticeLineView(QWidget* parent = nullptr);

    // Shows the notice, or hides the line for an empty one.
    Change showNotice(const QString& text);
};
