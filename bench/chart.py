"""Draws ratios as a chart in SVG."""

import math
from html import escape

ROW, LEFT, WIDTH, TOP, BOTTOM = 18, 430, 380, 46, 24
SMALLEST, GREATEST = 0.05, 10.0  # what lies beyond is drawn at the edge

BETTER, WORSE, AIM, INK, RULE = "#2b7a4b", "#b5502b", "#1d1d1d", "#333333", "#cccccc"


def _x(ratio):
    """Every doubling is as wide as the next."""
    inside = min(max(ratio, SMALLEST), GREATEST)
    return LEFT + WIDTH * math.log(inside / SMALLEST) / math.log(GREATEST / SMALLEST)


def draw(rows, title):
    """A bar from 1 to the ratio of each row, with its range, and a mark where its aim is."""
    height = TOP + ROW * len(rows) + BOTTOM
    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{LEFT + WIDTH + 70}" '
             f'height="{height}" font-family="sans-serif" font-size="12" fill="{INK}">',
             f'<rect width="100%" height="100%" fill="white"/>',
             f'<text x="8" y="18" font-size="14">{escape(title)}</text>',
             f'<text x="8" y="36">Bars to the left of 1: hoq is faster. Marks: the aim.</text>']
    for ratio in (0.1, 0.2, 0.5, 1, 2, 5, 10):
        x = _x(ratio)
        parts.append(f'<line x1="{x:.1f}" y1="{TOP}" x2="{x:.1f}" y2="{height - BOTTOM}" '
                     f'stroke="{INK if ratio == 1 else RULE}"/>'
                     f'<text x="{x:.1f}" y="{height - 8}" text-anchor="middle">{ratio:g}</text>')
    for number, row in enumerate(rows):
        parts.extend(_bar(row, TOP + ROW * number))
    return "\n".join((*parts, "</svg>")) + "\n"


def _bar(row, top):
    ratio, middle = row["figure"], top + ROW / 2
    start, end = sorted((_x(1), _x(ratio)))
    yield (f'<text x="{LEFT - 8}" y="{middle + 4}" text-anchor="end">'
           f'{escape(row["job"])} / {escape(row["against"])}</text>')
    yield (f'<rect x="{start:.1f}" y="{top + 4}" width="{end - start:.1f}" height="{ROW - 8}" '
           f'fill="{BETTER if ratio <= 1 else WORSE}"/>')
    yield (f'<line x1="{_x(row["lowest"]):.1f}" y1="{middle}" x2="{_x(row["highest"]):.1f}" '
           f'y2="{middle}" stroke="{INK}"/>')
    if row["aim"] is not None:
        x = _x(row["aim"])
        yield (f'<line x1="{x:.1f}" y1="{top + 1}" x2="{x:.1f}" y2="{top + ROW - 1}" '
               f'stroke="{AIM}" stroke-width="2"/>')
    yield f'<text x="{LEFT + WIDTH + 10}" y="{middle + 4}">{ratio:.2f}</text>'
