"""A picture of how times grow with the store, both axes logarithmic, as SVG."""

import math
from html import escape

WIDTH, HEIGHT = 720, 400
LEFT, RIGHT, TOP, BOTTOM = 80, 40, 40, 90
COLOURS = ("#1b6ca8", "#c8553d", "#6b9e3f", "#8a5a9e")
# The second half of the lines, which is what the others are compared with, is dashed.
DASHES = ("", "", "6 4", "6 4")


def decades(least, most):
    """The powers of ten from below `least` to above `most`."""
    first, last = math.floor(math.log10(least)), math.ceil(math.log10(most))
    return [10 ** power for power in range(first, max(last, first + 1) + 1)]


def scale(ticks, begin, end):
    low, high = math.log10(ticks[0]), math.log10(ticks[-1])
    return lambda value: round(begin + (math.log10(value) - low) / (high - low) * (end - begin), 1)


def line(x1, y1, x2, y2, colour):
    return f'<line x1="{x1}" y1="{y1}" x2="{x2}" y2="{y2}" stroke="{colour}"/>'


def text(x, y, words, anchor="start", more=""):
    return f'<text x="{x}" y="{y}" text-anchor="{anchor}"{more}>{escape(words)}</text>'


def axes(messages, times, x, y, duration):
    parts = []
    for tick in times:
        parts.append(line(LEFT, y(tick), WIDTH - RIGHT, y(tick), "#ddd"))
        parts.append(text(LEFT - 8, y(tick) + 4, duration(tick), "end"))
    for tick in messages:
        parts.append(line(x(tick), TOP, x(tick), HEIGHT - BOTTOM, "#ddd"))
        parts.append(text(x(tick), HEIGHT - BOTTOM + 18, f"{tick:,}", "middle"))
    parts.append(text((LEFT + WIDTH - RIGHT) / 2, HEIGHT - BOTTOM + 36, "messages in the store", "middle"))
    return parts


def curve(points, x, y, colour, dash):
    path = " ".join(f"{x(messages)},{y(time)}" for messages, time in points)
    dots = [f'<circle cx="{x(messages)}" cy="{y(time)}" r="3" fill="{colour}"/>' for messages, time in points]
    return [f'<polyline points="{path}" fill="none" stroke="{colour}" stroke-width="2" stroke-dasharray="{dash}"/>',
            *dots]


def legend(index, name, colour, dash):
    column, row = index % 2, index // 2
    x, y = LEFT + column * 310, HEIGHT - 32 + row * 18
    return [f'<line x1="{x}" y1="{y - 4}" x2="{x + 28}" y2="{y - 4}" stroke="{colour}" stroke-width="2" '
            f'stroke-dasharray="{dash}"/>', text(x + 36, y, name)]


def picture(title, lines, duration):
    """`lines` are (name, [(messages, nanoseconds), ...]); `duration` puts nanoseconds into words."""
    points = [point for _, some in lines for point in some]
    messages = decades(min(point[0] for point in points), max(point[0] for point in points))
    times = decades(min(point[1] for point in points), max(point[1] for point in points))
    x, y = scale(messages, LEFT, WIDTH - RIGHT), scale(times, HEIGHT - BOTTOM, TOP)
    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}" '
             'font-family="sans-serif" font-size="13">',
             f'<rect width="{WIDTH}" height="{HEIGHT}" fill="white"/>',
             text(LEFT, 24, f"{title}: CPU time", more=' font-weight="bold"')]
    parts += axes(messages, times, x, y, duration)
    for index, (name, some) in enumerate(lines):
        colour, dash = COLOURS[index % len(COLOURS)], DASHES[index % len(DASHES)]
        parts += curve(some, x, y, colour, dash) + legend(index, name, colour, dash)
    return "\n".join([*parts, "</svg>"]) + "\n"
