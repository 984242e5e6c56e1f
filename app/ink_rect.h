// The part of a picture that a stroke call drew into, from the rectangle it
// wrote to its out argument (left, top, right, bottom; right and bottom
// exclusive; not kept sorted, and an unsorted one means nothing was drawn),
// within the picture's width and height. Empty when nothing was drawn.
#pragma once

#include <QRect>

inline QRect inkRect(const int rect[4], int width, int height)
{
    const QRect drawn(QPoint(rect[0], rect[1]), QPoint(rect[2] - 1, rect[3] - 1));
    return drawn.isValid() ? drawn.intersected(QRect(0, 0, width, height)) : QRect();
}

// Whole rows of a widget, from its left edge. The windows' gradient comes out
// a shade different (one unit in a channel) when a row is painted from
// another column, so a repaint of fewer columns would not give the very
// pixels of a whole repaint.
inline QRect inkRows(const QRect &ink, int widgetWidth)
{
    return ink.isEmpty() ? QRect() : QRect(0, ink.top(), widgetWidth, ink.height());
}
