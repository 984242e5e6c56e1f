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
    if (!changed.isEmpty())
        update(changed);
}

void drawWidget::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    if (m_pImage)
        painter.drawImage(0, 0, *m_pImage);
}
