#!/usr/bin/env python3
"""Draws samples/star.webm, an alpha preset: a star in a half transparent ring comes in from the left,
turns in the middle and leaves to the right. Needs the program ffmpeg.

make_preset.py [OUT [CODEC OPTION ...]]: the options go to ffmpeg, lossless VP9 with alpha if there are none.
make_preset.py --matte OUT.mp4: the coverage alone, white on black, as H.264.

It turns by 72 degrees, which a star of five points does not show, in 18 frames, so 18 frames from
second 1 on can be looped unseen: --alpha-pause 1.08 --alpha-loop 18.
"""
import math
import os
import subprocess
import sys

WIDTH, HEIGHT, RATE, FRAMES = 480, 270, 25, 75
STAR_RADIUS, RING_RADIUS, RING_HALF = 62.0, 84.0, 8.0
STAR_COLOUR, RING_COLOUR, RING_ALPHA = (255, 214, 64), (64, 160, 255), 0.5
DEGREES_PER_FRAME = 4
VP9 = ["-c:v", "libvpx-vp9", "-lossless", "1", "-pix_fmt", "yuva420p", "-g", "25"]
STILL = 25  # frames to come in, to stand still, and to leave


def ease(t):
    return t * t * (3 - 2 * t)


def centre(frame):
    out = RING_RADIUS + RING_HALF + 2
    if frame < STILL:
        x = -out + (WIDTH / 2 + out) * ease(frame / STILL)
    elif frame < 2 * STILL:
        x = WIDTH / 2
    else:
        x = WIDTH / 2 + (WIDTH / 2 + out) * ease((frame - 2 * STILL) / (FRAMES - 1 - 2 * STILL))
    return x, HEIGHT / 2


def star_points(cx, cy, degrees):
    points = []
    for i in range(10):
        radius = STAR_RADIUS if i % 2 == 0 else STAR_RADIUS * 0.42
        angle = math.radians(degrees + 36 * i)
        points.append((cx + radius * math.sin(angle), cy - radius * math.cos(angle)))
    return points


def polygon_distance(points, x, y):
    """How far (x, y) lies outside the polygon, negative inside."""
    nearest, inside = float("inf"), False
    ax, ay = points[-1]
    for bx, by in points:
        ex, ey, px, py = bx - ax, by - ay, x - ax, y - ay
        t = min(max((px * ex + py * ey) / (ex * ex + ey * ey), 0.0), 1.0)
        nearest = min(nearest, math.hypot(px - ex * t, py - ey * t))
        if (ay > y) != (by > y) and x < ax + (y - ay) * ex / ey:
            inside = not inside
        ax, ay = bx, by
    return -nearest if inside else nearest


def coverage(distance):
    return min(max(0.5 - distance, 0.0), 1.0)


def draw(frame):
    # What is transparent has the ring's colour: scaling then mixes no third one into its edge.
    picture = bytearray((*RING_COLOUR, 0)) * (WIDTH * HEIGHT)
    cx, cy = centre(frame)
    points = star_points(cx, cy, DEGREES_PER_FRAME * frame)
    reach = RING_RADIUS + RING_HALF + 1
    for y in range(max(int(cy - reach), 0), min(int(cy + reach) + 1, HEIGHT)):
        for x in range(max(int(cx - reach), 0), min(int(cx + reach) + 1, WIDTH)):
            from_centre = math.hypot(x + 0.5 - cx, y + 0.5 - cy)
            if from_centre < STAR_RADIUS + 1:
                colour, alpha = STAR_COLOUR, coverage(polygon_distance(points, x + 0.5, y + 0.5))
            else:
                ring = coverage(abs(from_centre - RING_RADIUS) - RING_HALF)
                colour, alpha = RING_COLOUR, RING_ALPHA * ring
            at = 4 * (y * WIDTH + x)
            picture[at:at + 4] = bytes((*colour, round(255 * alpha)))
    return picture


def main():
    here = os.path.dirname(os.path.abspath(__file__))
    arguments = sys.argv[1:]
    matte = arguments[:1] == ["--matte"]
    if matte:
        arguments = arguments[1:]
    out = arguments[0] if arguments else os.path.join(here, "star.webm")
    codec = arguments[1:] or VP9
    if matte:
        codec = ["-vf", "alphaextract", "-pix_fmt", "yuv420p", "-c:v", "libx264", "-crf", "12"]
    command = ["ffmpeg", "-v", "error", "-y", "-f", "rawvideo", "-pix_fmt", "rgba",
               "-s", f"{WIDTH}x{HEIGHT}", "-r", str(RATE), "-i", "-", *codec, out]
    encoder = subprocess.Popen(command, stdin=subprocess.PIPE)
    for frame in range(FRAMES):
        encoder.stdin.write(draw(frame))
    encoder.stdin.close()
    sys.exit(encoder.wait())


if __name__ == "__main__":
    main()
