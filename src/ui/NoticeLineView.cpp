#include "NoticeLineView.h"

NoticeLineView::NoticeLineView(QWidget* parent) : QLabel(parent) {
    setObjectName(QStringLiteral("noticeLabel"));
    setWordWrap(true);
    setAlignment(Qt::AlignCenter);
    hide();
}

NoticeLineView::Change NoticeLineView::showNotice(const QString& text) {
    const bool shownChanged = isHidden() != text.isEmpty();
    if (!shownChanged && text == this->text()) {
        return Change::none;
    }
    setText(text);
    setVisible(!text.isEmpty());
    return shownChanged ? Change::shown : Change::text;
}
