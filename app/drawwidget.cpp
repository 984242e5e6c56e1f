#include "drawwidget.h"

#include <QPainter>

#include "ink_rect.h"

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
    if (!changed.isEmpty())
        update(inkRows(changed, width()));
}

void drawWidget::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    if (m_pImage)
        painter.drawImage(0, 0, *m_pImage);
}
