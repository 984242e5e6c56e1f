#include "drawwidget.h"

#include <QPainter>

drawWidget::drawWidget(QWidget *)
    : QWidget(nullptr)
{
    setWindowFlags(Qt::FramelessWindowHint | Qt::CustomizeWindowHint);
}

void drawWidget::SetBackImg(QImage *image)
{
    m_pImage = image;
    update();
}

void drawWidget::SetBackImg(QImage *image, const QRect &changed)
{
    if (image != m_pImage) {
        SetBackImg(image);
        return;
    }
    // Whole rows: the window's gradient behind the box comes out a shade
    // different (one unit in a channel) when a row is painted from another
    // column than the box's left edge, so a narrower rectangle would not
    // give the very pixels of a whole repaint.
    if (!changed.isEmpty())
        update(QRect(0, changed.top(), width(), changed.height()));
}

void drawWidget::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    if (m_pImage)
        painter.drawImage(0, 0, *m_pImage);
}
