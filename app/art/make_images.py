#!/usr/bin/python3
"""Draws the window's ten resource images into app/src/ (button faces, logos,
titles, the window icon). Run from anywhere: /usr/bin/python3 app/art/make_images.py
Needs Pillow (Debian python3-pil) and the WenQuanYi Micro Hei font."""
import os
from PIL import Image, ImageDraw, ImageFont

HERE = os.path.dirname(os.path.abspath(__file__))
OUT = os.path.join(HERE, "..", "src")
FONT = "/usr/share/fonts/truetype/wqy/wqy-microhei.ttc"

BLUE = (114, 159, 207, 255)
DARK = (32, 74, 135, 255)
WHITE = (255, 255, 255, 255)


def font(size):
    return ImageFont.truetype(FONT, size)


def centred(draw, box, text, fnt, fill):
    l, t, r, b = draw.textbbox((0, 0), text, font=fnt)
    x = box[0] + (box[2] - box[0] - (r - l)) // 2 - l
    y = box[1] + (box[3] - box[1] - (b - t)) // 2 - t
    draw.text((x, y), text, font=fnt, fill=fill)


def button(name, text, glyph):
    # 302x82: twice the 151x41 button, scaled down by the style's border-image.
    w, h = 302, 82
    img = Image.new("RGBA", (w, h), (0, 0, 0, 0))
    d = ImageDraw.Draw(img)
    d.rounded_rectangle((0, 0, w - 1, h - 1), radius=20, fill=BLUE, outline=DARK, width=3)
    d.ellipse((18, 17, 66, 65), fill=WHITE)
    glyph(d)
    centred(d, (70, 0, w - 8, h), text, font(38), WHITE)
    img.save(os.path.join(OUT, "text", name))


def plug(d):       # open: a filled triangle
    d.polygon([(34, 27), (34, 55), (56, 41)], fill=DARK)


def stop(d):       # close: a square
    d.rectangle((31, 30, 53, 52), fill=DARK)


def finger(d):     # fingerprint: nested arcs
    for r in (6, 11, 16):
        d.arc((42 - r, 41 - r, 42 + r, 41 + r), 200, 520, fill=DARK, width=3)


def logo(size, name):
    # The window shows rows 40 to 120 of the 140-row logo label (the buttons
    # cover the rest), so the mark sits in the middle band of a square.
    full = Image.new("RGBA", (size, size), (0, 0, 0, 0))
    n = size * 7 // 16
    img = Image.new("RGBA", (n, n), (0, 0, 0, 0))
    d = ImageDraw.Draw(img)
    m = n // 16
    d.ellipse((m, m, n - m, n - m), fill=DARK)
    d.ellipse((3 * m, 3 * m, n - 3 * m, n - 3 * m), fill=BLUE)
    # A pen stroke across the disc and the initials.
    d.line([(4 * m, 12 * m), (7 * m, 10 * m), (9 * m, 11 * m), (12 * m, 8 * m)], fill=WHITE, width=max(2, m))
    centred(d, (0, 3 * m, n, 8 * m), "SP", font(4 * m), WHITE)
    full.paste(img, ((size - n) // 2, size * 9 // 32))
    full.save(os.path.join(OUT, "logo", name))


def banner(name, text, size, fmt):
    img = Image.new("RGB", size, BLUE[:3])
    d = ImageDraw.Draw(img)
    for y in range(size[1]):  # a vertical blue-to-white fade
        f = y / size[1]
        d.line([(0, y), (size[0], y)], fill=tuple(int(c + (255 - c) * f) for c in BLUE[:3]))
    centred(d, (0, 0) + size, text, font(size[1] // 3), DARK[:3])
    img.save(os.path.join(OUT, "text", name), fmt)


def icon():
    img = Image.new("RGBA", (32, 32), (0, 0, 0, 0))
    d = ImageDraw.Draw(img)
    d.rounded_rectangle((1, 3, 30, 28), radius=4, fill=BLUE, outline=DARK, width=2)
    d.line([(6, 21), (12, 15), (17, 19), (25, 9)], fill=WHITE, width=3)
    img.save(os.path.join(OUT, "TestTool.png"))


def main():
    os.makedirs(os.path.join(OUT, "text"), exist_ok=True)
    os.makedirs(os.path.join(OUT, "logo"), exist_ok=True)
    button("opendevice.png", "打开设备", plug)
    button("closedevice.png", "关闭设备", stop)
    button("zhiwenceshi.png", "指纹测试", finger)
    button("buttonSerial.png", "读取序号", plug)
    logo(256, "pxnewlogo256.png")
    logo(128, "pxnewlogo128.png")
    big = Image.new("RGBA", (480, 160), (0, 0, 0, 0))
    big.paste(Image.open(os.path.join(OUT, "logo", "pxnewlogo128.png")), (16, 16))
    d = ImageDraw.Draw(big)
    d.text((160, 48), "SlateProbe", font=font(48), fill=DARK)
    big.save(os.path.join(OUT, "logo", "tavrel.png"))
    banner("title1.png", "手写设备测试", (480, 90), "PNG")
    banner("title.jpg", "塔维手写设备测试程序", (640, 90), "JPEG")
    icon()


if __name__ == "__main__":
    main()
