// The picture box of a signature pad's test in the main window: paints the
// image it is given and nothing else. It does not own the image.
#pragma once

#include <QImage>
#include <QWidget>

class drawWidget : public QWidget
{
    Q_OBJECT
public:
    // The parent is ignored: the widget finds its place by being added to a
    // layout of the window.
    explicit drawWidget(QWidget *parent = nullptr);

    void SetBackImg(QImage *image);
    // The same, for an image of which only `changed` may differ from what
    // was painted: a new image is repainted whole, the one already shown
    // only in the rows of `changed` (nothing for an empty rectangle).
    void SetBackImg(QImage *image, const QRect &changed);
    // The image it paints, if any.
    QImage *BackImg() const { return m_pImage; }

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QImage *m_pImage = nullptr;
};
