#pragma once
// A status label that never hides part of its text without saying so: the owner
// sizes it to its text where there is room (textWidth()), and where there is not the
// text is cut with "..." and shown whole as the tooltip.

#include <QFontMetrics>
#include <QLabel>
#include <QResizeEvent>
#include <QString>

namespace quillane {

class StatusLabel : public QLabel {
  public:
    using QLabel::QLabel;

    void setFullText(const QString& text) {
        fullText_ = text;
        refresh();
    }
    const QString& fullText() const { return fullText_; }
    // The width that shows the whole text.
    int textWidth() const { return fontMetrics().horizontalAdvance(fullText_) + 2 * margin() + 4; }

  protected:
    void resizeEvent(QResizeEvent* event) override {
        QLabel::resizeEvent(event);
        refresh();
    }

  private:
    void refresh() {
        const QString shown =
            fontMetrics().elidedText(fullText_, Qt::ElideRight, width() - 2 * margin());
        setText(shown);
        setToolTip(shown == fullText_ ? QString() : fullText_);
    }

    QString fullText_;
};

} // namespace quillane
