#!/usr/bin/env python3
"""Reference model of the pixel conversions and the colour interpolation methods.

Written from the rules of each method, one pixel at a time, with no regard for
speed, so that the library's kernels (plain and vectorised) can be compared
with it byte for byte. Standard library only.

Run as a program it writes a vector file: for every case the input, the
destination as it was before the call (random bytes, so that unwritten bytes
are checked too), the expected destination after the call and the expected
result and error number.

    reference_model.py OUTPUT_FILE
"""

import random
import struct
import sys

ERROR_BAD_ARGUMENT = 87

# ----------------------------------------------------------------------------
# Bayer phases

# Colour of the site (x, y) for each colour array, as (row even, row odd) and
# within a row (x even, x odd).
PHASES = {
    2: (("R", "G"), ("G", "B")),
    3: (("G", "R"), ("B", "G")),
    4: (("G", "B"), ("R", "G")),
    5: (("B", "G"), ("G", "R")),
}
CHANNEL = {"B": 0, "G": 1, "R": 2}


def colour_at(array, x, y):
    return PHASES[array][y % 2][x % 2]


def row_colour(array, y):
    """C(y): the non-green colour of row y."""
    row = PHASES[array][y % 2]
    return row[0] if row[0] != "G" else row[1]


def other_colour(array, y):
    """D(y): the other of R and B."""
    return "B" if row_colour(array, y) == "R" else "R"


class Image:
    """Input samples with P(x, y) and an output with BGR triples."""

    def __init__(self, width, height, source, destination):
        self.w = width
        self.h = height
        self.src = source
        self.dst = destination

    def p(self, x, y):
        assert 0 <= x < self.w and 0 <= y < self.h, (x, y)
        return self.src[y * self.w + x]

    def put(self, x, y, colour, value):
        assert 0 <= value <= 255
        self.dst[(y * self.w + x) * 3 + CHANNEL[colour]] = value

    def get(self, x, y, colour):
        return self.dst[(y * self.w + x) * 3 + CHANNEL[colour]]


def clamp(v):
    return 0 if v < 0 else 255 if v > 255 else v


CUBIC_INNER = [(5 * s + 4) >> 3 for s in range(512)]
CUBIC_OUTER = [-((s + 4) >> 3) for s in range(512)]

# ----------------------------------------------------------------------------
# Methods


def method_grey(im, array):
    for y in range(im.h):
        for x in range(im.w):
            v = im.p(x, y)
            for c in "BGR":
                im.put(x, y, c, v)
    return True


def method_none(im, array):
    if array not in PHASES:
        return False
    for y in range(im.h):
        for x in range(im.w):
            own = colour_at(array, x, y)
            for c in "BGR":
                im.put(x, y, c, im.p(x, y) if c == own else 0)
    return True


def method_nearest(im, array):
    if array not in PHASES:
        return False
    for cy in range(im.h // 2):
        for cx in range(im.w // 2):
            x0, y0 = 2 * cx, 2 * cy
            samples = {}
            greens = {}
            for dy in (0, 1):
                for dx in (0, 1):
                    c = colour_at(array, x0 + dx, y0 + dy)
                    if c == "G":
                        greens[dy] = im.p(x0 + dx, y0 + dy)
                    else:
                        samples[c] = im.p(x0 + dx, y0 + dy)
            for dy in (0, 1):
                for dx in (0, 1):
                    im.put(x0 + dx, y0 + dy, "R", samples["R"])
                    im.put(x0 + dx, y0 + dy, "B", samples["B"])
                    im.put(x0 + dx, y0 + dy, "G", greens[dy])
    return True


def bilinear_h(im, x, y):
    if x == 0:
        return im.p(1, y)
    if x == im.w - 1:
        return im.p(im.w - 2, y)
    return (im.p(x - 1, y) + im.p(x + 1, y)) >> 1


def cubic_h(im, x, y):
    w = im.w
    if x == 0:
        return im.p(1, y)
    if x == w - 1:
        return im.p(w - 2, y)
    if x in (1, 2, w - 3, w - 2):
        return (im.p(x - 1, y) + im.p(x + 1, y)) >> 1
    return clamp(CUBIC_INNER[im.p(x - 1, y) + im.p(x + 1, y)]
                 + CUBIC_OUTER[im.p(x - 3, y) + im.p(x + 3, y)])


def horizontal_step(im, array, h_value):
    for y in range(im.h):
        c = row_colour(array, y)
        for x in range(im.w):
            if colour_at(array, x, y) == "G":
                im.put(x, y, "G", im.p(x, y))
                im.put(x, y, c, h_value(im, x, y))
            else:
                im.put(x, y, c, im.p(x, y))
                im.put(x, y, "G", h_value(im, x, y))


def bilinear_v(im, array, x, y, colour):
    h = im.h

    def v(yy):
        return im.get(x, yy, colour)

    if y == 0:
        return v(1)
    if y == h - 1:
        return v(h - 2)
    if array == 3 and x in (0, im.w - 1):
        return v(y + 1)
    return (v(y - 1) + v(y + 1)) >> 1


def cubic_v(im, array, x, y, colour):
    h = im.h

    def v(yy):
        return im.get(x, yy, colour)

    if y == 0:
        return v(1)
    if y == h - 1:
        return v(h - 2)
    if y in (1, 2, h - 3, h - 2):
        return (v(y - 1) + v(y + 1)) >> 1
    return clamp(CUBIC_INNER[v(y - 1) + v(y + 1)] + CUBIC_OUTER[v(y - 3) + v(y + 3)])


def vertical_step(im, array, v_value):
    for y in range(im.h):
        d = other_colour(array, y)
        for x in range(im.w):
            im.put(x, y, d, v_value(im, array, x, y, d))


def method_bilinear(im, array):
    if array not in PHASES or im.w < 2 or im.h < 2:
        return False
    horizontal_step(im, array, bilinear_h)
    vertical_step(im, array, bilinear_v)
    return True


def method_bilinear_g4(im, array):
    if array not in PHASES or im.w < 2 or im.h < 2:
        return False
    horizontal_step(im, array, bilinear_h)

    def v_no_rule4(im_, array_, x, y, colour):
        return bilinear_v(im_, 0, x, y, colour)

    vertical_step(im, array, v_no_rule4)
    for y in range(1, im.h - 1):
        for x in range(1, im.w - 1):
            if colour_at(array, x, y) != "G":
                vert = (im.p(x, y - 1) + im.p(x, y + 1)) >> 1
                horz = (im.p(x - 1, y) + im.p(x + 1, y)) >> 1
                im.put(x, y, "G", (vert + horz) >> 1)
    return True


def method_cubic(im, array):
    if array not in PHASES or im.w < 6 or im.h < 6:
        return False
    horizontal_step(im, array, cubic_h)
    vertical_step(im, array, cubic_v)
    return True


def half_pixel_body(im, body, x, y):
    """Method 5 for the body of array 2 or 3: returns (R, G, B) as the body names them."""
    w, h = im.w, im.h

    def site_colour(xx, yy):
        return colour_at(body, xx, yy)

    def red_or_blue(colour):
        xc = yc = None
        for dy in (0, 1):
            for dx in (0, 1):
                if colour_at(body, x + dx, y + dy) == colour:
                    xc, yc = x + dx, y + dy
        xo = xc + 2 if xc == x else xc - 2
        yo = yc + 2 if yc == y else yc - 2
        single_x = single_y = False
        if xc >= w:
            xc, single_x = xo, True
        if yc >= h:
            yc, single_y = yo, True
        if not 0 <= xo < w:
            single_x = True
        if not 0 <= yo < h:
            single_y = True
        p = im.p
        if not single_x and not single_y:
            return (9 * p(xc, yc) + 3 * p(xo, yc) + 3 * p(xc, yo) + p(xo, yo)) >> 4
        if single_y and not single_x:
            return (3 * p(xc, yc) + p(xo, yc)) >> 2
        if single_x and not single_y:
            return (3 * p(xc, yc) + p(xc, yo)) >> 2
        return p(xc, yc)

    def green():
        p = im.p
        if x == w - 1:
            return p(x, y) if site_colour(x, y) == "G" else p(x - 1, y)
        if y == h - 1:
            return p(x, y) if site_colour(x, y) == "G" else p(x + 1, y)
        gs = [p(x + dx, y + dy) for dy in (0, 1) for dx in (0, 1)
              if site_colour(x + dx, y + dy) == "G"]
        return (gs[0] + gs[1]) >> 1

    r = red_or_blue("R")
    g = green()
    b = red_or_blue("B")
    p = im.p
    if body == 2:
        if (x, y) == (w - 2, 0):
            g = (p(w - 3, 1) + p(w - 1, 0)) >> 1
            r = (3 * p(w - 2, 0) + p(w - 2, 1)) >> 2
    else:
        if (x, y) == (0, 0):
            b = p(0, 1)
        if (x, y) == (w - 1, 0):
            g = p(w - 1, 1)
        if y == 0 and x % 2 == 0 and 2 <= x <= w - 4:
            r = (3 * p(x - 1, 0) + 3 * p(x - 1, 2) + 9 * p(x + 1, 0) + p(x + 1, 2)) >> 4
        if x == 0 and y % 2 == 0 and y >= 2:
            b = (p(0, y - 1) + 3 * p(0, y + 1)) >> 2
            r = (3 * p(1, y) + p(1, y + 1)) >> 2
        if y % 2 == 0 and 2 <= y <= h - 4 and x % 2 == 1 and x <= w - 5:
            r = (9 * p(x, y) + 6 * p(x, y + 2) + p(x + 2, y + 2)) >> 4
        if y % 2 == 0 and 2 <= y <= h - 4 and x % 2 == 0 and 2 <= x <= w - 4:
            r = (12 * p(x - 1, y) + p(x - 1, y + 2) + 3 * p(x + 1, y + 2)) >> 4
    return r, g, b


def method_half_pixel(im, array):
    if array not in PHASES:
        return False
    if im.w < 6 or im.h < 6 or im.w % 2 or im.h % 2:
        return False
    body = {2: 2, 5: 2, 3: 3, 4: 3}[array]
    swap = array in (4, 5)
    for y in range(im.h):
        for x in range(im.w):
            r, g, b = half_pixel_body(im, body, x, y)
            if swap:
                r, b = b, r
            im.put(x, y, "R", r)
            im.put(x, y, "G", g)
            im.put(x, y, "B", b)
    return True


def robust_mean(a, b, c, d, threshold=15):
    candidates = [
        ((a + c + d) // 3, b),
        ((b + c + d) // 3, a),
        ((a + b + d) // 3, c),
        ((a + b + c) // 3, d),
        ((a + b) >> 1, (c + d) >> 1),
        ((a + c) >> 1, (b + d) >> 1),
    ]
    best = None
    largest = 0
    for value, reference in candidates:
        diff = abs(value - reference)
        if diff > largest:
            largest = diff
            best = value
    if threshold >= largest:
        return (a + b + c + d) >> 2
    return best


def method_outlier(im, array):
    w, h = im.w, im.h
    pairs = (h - 2) >> 1 if h >= 2 else 0
    steps = (w - 2) >> 1 if w >= 2 else 0
    p = im.p

    def axial(x, y):
        return robust_mean(p(x, y - 1), p(x - 1, y), p(x + 1, y), p(x, y + 1))

    def diagonal(x, y):
        return robust_mean(p(x - 1, y - 1), p(x + 1, y - 1), p(x - 1, y + 1), p(x + 1, y + 1))

    for i in range(pairs):
        y = 1 + 2 * i
        for j in range(steps):
            x = 1 + 2 * j
            im.put(x, y, "B", p(x, y))
            im.put(x, y, "G", axial(x, y))
            im.put(x, y, "R", diagonal(x, y))
            im.put(x + 1, y, "G", p(x + 1, y))
        for j in range(steps):
            x = 1 + 2 * j
            im.put(x, y + 1, "G", p(x, y + 1))
            X = x + 1
            im.put(X, y + 1, "B", diagonal(X, y + 1))
            im.put(X, y + 1, "G", axial(X, y + 1))
            im.put(X, y + 1, "R", p(X, y + 1))
    for i in range(pairs):
        y = 1 + 2 * i
        for j in range(steps):
            X = 2 + 2 * j
            for c in "BR":
                im.put(X, y, c, robust_mean(im.get(X, y - 1, c), im.get(X - 1, y, c),
                                            im.get(X + 1, y, c), im.get(X, y + 1, c)))
        for j in range(steps):
            x = 1 + 2 * j
            for c in "BR":
                im.put(x, y + 1, c, robust_mean(im.get(x, y, c), im.get(x - 1, y + 1, c),
                                                im.get(x + 1, y + 1, c), im.get(x, y + 2, c)))
    return True


def method_quadrants(im, array):
    w, h = im.w, im.h
    for y in range(h):
        for x in range(w):
            tx = x // 2 + (w // 2 if x % 2 else 0)
            ty = y // 2 + (h // 2 if y % 2 else 0)
            v = im.p(x, y)
            for c in "BGR":
                im.put(tx, ty, c, v)
    return True


# ----------------------------------------------------------------------------
# YUV


def chroma_tables():
    def t(factor):
        return [int((v - 128) * factor) for v in range(256)]
    return t(1.7718), t(-0.3441), t(-0.7139), t(1.402)


UB, UG, VG, VR = chroma_tables()


def yuv_to_bgr(y, u, v):
    return (clamp(y + UB[u]), clamp(y + UG[u] + VG[v]), clamp(y + VR[v]))


def yuy2_frame(im):
    for i in range(im.w * im.h // 2):
        y0, u, y1, v = im.src[4 * i: 4 * i + 4]
        for k, yy in enumerate((y0, y1)):
            b, g, r = yuv_to_bgr(yy, u, v)
            o = (2 * i + k) * 3
            im.dst[o:o + 3] = bytes((b, g, r))
    return True


def interpolate(method, array, w, h, src, dst):
    """The dispatcher: returns (result, error); error None when not set."""
    im = Image(w, h, src, dst)
    if method == 0:
        if array == 0 or array > 5:
            return 0, ERROR_BAD_ARGUMENT
        method_grey(im, array)
        return 1, None
    if method >= 255:
        method_quadrants(im, array)
        return 1, None
    if array == 10:
        yuy2_frame(im)
        return 1, None
    bodies = {1: method_none, 2: method_nearest, 3: method_bilinear, 4: method_cubic,
              5: method_half_pixel, 253: method_outlier, 254: method_bilinear_g4}
    if method not in bodies:
        return 0, ERROR_BAD_ARGUMENT
    if not bodies[method](im, array):
        return 0, ERROR_BAD_ARGUMENT
    return 1, None


# ----------------------------------------------------------------------------
# Direct colour transfers, expansion, reduction

BYTES_PER_TARGET = {1: 1, 4: 3, 8: 4}


def colour_direct(transfer, target, w, h, src, dst):
    step = BYTES_PER_TARGET[target]
    if transfer == 1024:
        for i in range(w * h):
            b, g, r = src[3 * i: 3 * i + 3]
            if target == 1:
                dst[i] = g
            else:
                dst[i * step: i * step + 3] = bytes((b, g, r))
        return
    if transfer == 2048:
        for i in range(w * h):
            (v,) = struct.unpack_from("<I", src, 4 * i)
            if target == 1:
                dst[i] = (v >> 12) & 0xFF
            else:
                dst[i * step: i * step + 3] = bytes(((v >> 2) & 0xFF, (v >> 12) & 0xFF,
                                                     (v >> 22) & 0xFF))
        return
    stride = {4096: w + w // 2, 8192: 2 * w, 16384: 3 * w}[transfer]
    for y in range(h):
        row = src[y * stride:(y + 1) * stride]
        for g in range(w // 4):
            if transfer == 4096:
                u, y0, y1, v, y2, y3 = row[6 * g: 6 * g + 6]
                pixels = [(y0, u, v), (y1, u, v), (y2, u, v), (y3, u, v)]
            elif transfer == 8192:
                u0, y0, v0, y1, u1, y2, v1, y3 = row[8 * g: 8 * g + 8]
                pixels = [(y0, u0, v0), (y1, u0, v0), (y2, u1, v1), (y3, u1, v1)]
            else:
                pixels = []
                for k in range(4):
                    u, yy, v = row[12 * g + 3 * k: 12 * g + 3 * k + 3]
                    pixels.append((yy, u, v))
            for k, (yy, u, v) in enumerate(pixels):
                i = y * w + 4 * g + k
                if target == 1:
                    dst[i] = yy
                else:
                    dst[i * step: i * step + 3] = bytes(yuv_to_bgr(yy, u, v))


def expand(mono, preview, w, h, buf):
    """In place; returns (result, error)."""
    n = w * h
    if mono:
        if preview == 1:
            return 1, None
        if preview == 4:
            data = bytes(buf[:n])
            for i in range(n):
                buf[3 * i: 3 * i + 3] = bytes((data[i],) * 3)
            return 1, None
        if preview == 8:
            data = bytes(buf[:n])
            for i in range(n):
                buf[4 * i: 4 * i + 3] = bytes((data[i],) * 3)
            return 1, None
        return 0, ERROR_BAD_ARGUMENT
    if preview == 4:
        return 1, None
    if preview == 8:
        data = bytes(buf[:3 * n])
        for i in range(n):
            buf[4 * i: 4 * i + 4] = data[3 * i: 3 * i + 3] + b"\0"
        return 1, None
    return 0, ERROR_BAD_ARGUMENT


REDUCE_SHIFT = {2: 2, 64: 2, 4: 4, 128: 4, 8: 6, 256: 6, 16: 8, 512: 8}


def reduce_to_8bits(flag, w, h, src16, dst):
    if flag not in REDUCE_SHIFT:
        return 0
    for i in range(w * h):
        (v,) = struct.unpack_from("<H", src16, 2 * i)
        dst[i] = (v >> REDUCE_SHIFT[flag]) & 0xFF
    return 1


# ----------------------------------------------------------------------------
# Vector file

OP_INTERPOLATE, OP_COLOUR_DIRECT, OP_EXPAND, OP_REDUCE = 1, 2, 3, 4


class Writer:
    def __init__(self):
        self.records = []

    def add(self, op, p0, p1, w, h, result, error, source, before, after):
        head = struct.pack("<9I", op, p0, p1, w, h, result, error or 0, len(source), len(before))
        assert len(before) == len(after)
        self.records.append(head + bytes(source) + bytes(before) + bytes(after))

    def save(self, path):
        with open(path, "wb") as f:
            f.write(b"KVXV" + struct.pack("<II", 1, len(self.records)))
            for r in self.records:
                f.write(r)


def pattern(rng, n, kind):
    if kind == "random":
        return bytes(rng.randrange(256) for _ in range(n))
    if kind == "extreme":
        return bytes(rng.choice((0, 255)) for _ in range(n))
    if kind == "sparse":
        return bytes(255 if rng.random() < 0.05 else rng.randrange(8) for _ in range(n))
    raise ValueError(kind)


INTERPOLATION_SIZES = [
    (0, 0), (1, 1), (1, 5), (5, 1), (2, 2), (3, 2), (2, 3), (3, 3), (4, 4), (5, 5),
    (6, 6), (7, 6), (6, 7), (7, 7), (8, 6), (6, 8), (9, 11), (10, 10), (12, 7),
    (14, 12), (33, 17), (70, 9), (100, 12), (131, 13), (134, 10),
]


def interpolation_cases(writer, rng):
    kinds = ("random", "extreme", "sparse")
    for method in (0, 1, 2, 3, 4, 5, 6, 100, 252, 253, 254, 255):
        for array in (0, 1, 2, 3, 4, 5, 6, 10):
            sizes = INTERPOLATION_SIZES if array in (2, 3, 4, 5) else [(3, 3), (8, 6), (33, 7)]
            if method in (6, 100, 252):
                sizes = [(8, 6)]
            for i, (w, h) in enumerate(sizes):
                n = w * h * (2 if array == 10 else 1)
                source = pattern(rng, n, kinds[i % 3])
                before = bytes(rng.randrange(256) for _ in range(w * h * 3))
                after = bytearray(before)
                result, error = interpolate(method, array, w, h, source, after)
                writer.add(OP_INTERPOLATE, method, array, w, h, result, error, source, before,
                           after)


def colour_direct_cases(writer, rng):
    source_bytes = {1024: lambda w: 3 * w, 2048: lambda w: 4 * w, 4096: lambda w: w + w // 2,
                    8192: lambda w: 2 * w, 16384: lambda w: 3 * w}
    for transfer, row_bytes in source_bytes.items():
        for target in (1, 4, 8):
            for w, h in ((1, 1), (4, 2), (5, 3), (6, 2), (7, 3), (8, 4), (13, 5), (67, 3),
                         (100, 2)):
                source = bytes(rng.randrange(256) for _ in range(row_bytes(w) * h))
                before = bytes(rng.randrange(256) for _ in range(w * h * BYTES_PER_TARGET[target]))
                after = bytearray(before)
                colour_direct(transfer, target, w, h, source, after)
                writer.add(OP_COLOUR_DIRECT, transfer, target, w, h, 1, None, source, before,
                           after)


def expand_cases(writer, rng):
    for mono in (1, 0):
        for preview in (1, 4, 8, 2, 16):
            for w, h in ((1, 1), (3, 2), (16, 3), (37, 5)):
                per = 4 if preview not in (1, 4) else (1 if preview == 1 and mono else 3)
                before = bytes(rng.randrange(256) for _ in range(w * h * per))
                after = bytearray(before)
                result, error = expand(mono, preview, w, h, after)
                writer.add(OP_EXPAND, preview, mono, w, h, result, error, b"", before, after)


def reduce_cases(writer, rng):
    for flag in (2, 4, 8, 16, 64, 128, 256, 512, 1, 32, 1024, 3):
        for w, h in ((1, 1), (7, 3), (64, 2), (33, 5)):
            source = bytes(rng.randrange(256) for _ in range(2 * w * h))
            before = bytes(rng.randrange(256) for _ in range(w * h))
            after = bytearray(before)
            result = reduce_to_8bits(flag, w, h, source, after)
            writer.add(OP_REDUCE, flag, 0, w, h, result, None, source, before, after)


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    rng = random.Random(20240609)
    writer = Writer()
    interpolation_cases(writer, rng)
    colour_direct_cases(writer, rng)
    expand_cases(writer, rng)
    reduce_cases(writer, rng)
    writer.save(sys.argv[1])


if __name__ == "__main__":
    main()
