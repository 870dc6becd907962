#!/usr/bin/env python3
"""Reference model of defect pixel detection.

Keeps the candidates as a plain Python list and follows the rules of the
detection one pixel at a time, with no regard for speed:

- a pixel qualifies when its value is at least the threshold;
- while the list has room, a qualifying pixel is appended;
- once the list is full, a pixel no brighter than the dimmest candidate is
  passed over, and a brighter one removes the earliest candidate at the
  dimmest level and is appended at the end.

Run as a program it writes a vector file of cases, each with its image and the
list the detection must end with.

    defect_model.py OUTPUT_FILE

File layout, little-endian: b"KDPV", u32 case count; per case: u32 width,
u32 height, u16 threshold, u32 capacity, width * height image bytes, u32
count, count records of (u32 x, u32 y, u16 level), u16 lowest level (65535
while nothing was taken).
"""

import random
import struct
import sys


def detect(image, width, height, threshold, capacity):
    candidates = []
    for y in range(height):
        for x in range(width):
            v = image[y * width + x]
            if v < threshold:
                continue
            if len(candidates) < capacity:
                candidates.append((x, y, v))
                continue
            dimmest = min(c[2] for c in candidates) if candidates else 65535
            if v <= dimmest:
                continue
            first = next(i for i, c in enumerate(candidates) if c[2] == dimmest)
            del candidates[first]
            candidates.append((x, y, v))
    lowest = min((c[2] for c in candidates), default=65535)
    return candidates, lowest


def cases():
    rng = random.Random(20260801)
    out = []

    def add(width, height, threshold, capacity, image):
        out.append((width, height, threshold, capacity, bytes(image)))

    # The issue's own cases.
    add(100, 3, 0, 64, [0] * 300)                 # a zero image fills from the first row
    add(16, 16, 256, 64, [255] * 256)             # nothing is at least 256
    add(40, 30, 10, 8, [rng.randrange(256) for _ in range(1200)])
    # Ramps: every pixel brighter than the last, and the other way round.
    add(64, 4, 0, 5, [(i * 3) % 256 for i in range(256)])
    add(64, 4, 0, 5, [255 - i for i in range(256)])
    # Few distinct levels: ties everywhere decide which records survive.
    for capacity in (1, 2, 3, 7, 16, 64):
        for levels in (2, 3, 5):
            w, h = rng.randrange(1, 50), rng.randrange(1, 20)
            add(w, h, rng.randrange(0, 4), capacity,
                [rng.choice(range(0, 256, 256 // levels)) for _ in range(w * h)])
    # Dark frames with a few hot pixels, as detection is meant for.
    for capacity in (4, 32, 64, 300):
        w, h = 97, 41
        img = [rng.randrange(8) for _ in range(w * h)]
        for _ in range(rng.randrange(1, 120)):
            img[rng.randrange(w * h)] = rng.randrange(40, 256)
        add(w, h, 30, capacity, img)
    # More room than pixels; a threshold on the highest level only.
    add(5, 5, 0, 64, [rng.randrange(256) for _ in range(25)])
    add(33, 9, 255, 10, [rng.choice((254, 255)) for _ in range(297)])
    # Empty images.
    add(0, 10, 0, 64, [])
    add(10, 0, 0, 64, [])
    return out


def main():
    if len(sys.argv) != 2:
        sys.exit("usage: defect_model.py OUTPUT_FILE")
    all_cases = cases()
    data = bytearray(b"KDPV")
    data += struct.pack("<I", len(all_cases))
    for width, height, threshold, capacity, image in all_cases:
        records, lowest = detect(image, width, height, threshold, capacity)
        data += struct.pack("<IIHI", width, height, threshold, capacity)
        data += image
        data += struct.pack("<I", len(records))
        for x, y, level in records:
            data += struct.pack("<IIH", x, y, level)
        data += struct.pack("<H", lowest)
    with open(sys.argv[1], "wb") as f:
        f.write(data)


if __name__ == "__main__":
    main()
