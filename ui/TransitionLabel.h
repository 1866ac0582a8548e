#pragma once

#include "ui/TextStyle.h"

#include <QLabel>
#include <QVariantAnimation>

#include <optional>

namespace quibel {

/// One line of text, elided where it gets less than the width it wants; assistive tools read it
/// whole.
///
/// Text of a new identity fades in from just below while the old one, for which the label keeps its
/// width meanwhile, fades out; no timer runs before or after that.
class TransitionLabel : public QLabel
{
    Q_OBJECT

public:
    /// What the label shows. The text is plain; line breaks in it count as spaces.
    struct Content
    {
        QString identity;
        QString text;
        TextStyle style;
    };

    explicit TransitionLabel(const Content& initial);

    [[nodiscard]] const Content& content() const { return current; }

    /// Shows `next`: at once, or with a transition when its identity is another one and the label
    /// is on screen.
    void setContent(const Content& next);

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    /// `presence` is 0 for a text that is gone, 1 for one that has arrived.
    void paint(QPainter& painter, const Content& shown, double presence) const;

    Content current;
    std::optional<Content> leaving;
    QVariantAnimation transition { this };
};

} // namespace quibel
