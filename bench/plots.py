"""Plots as SVG text, for `report`."""
from html import escape

FONT = 'font-family="sans-serif" font-size="12"'
INK, FIRST, SECOND = "#333", "#1f6fb4", "#c1591c"


def page(width, height, parts):
    return "\n".join([f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}" {FONT}>',
                      f'<rect width="{width}" height="{height}" fill="white"/>', *parts, "</svg>", ""])


def label(x, y, text, anchor="start", color=INK):
    return f'<text x="{x:.0f}" y="{y:.0f}" text-anchor="{anchor}" fill="{color}">{escape(text)}</text>'


def bars(title, rows):
    parts = [label(10, 20, title)]
    most = max(value for _, value in rows)
    for i, (name, value) in enumerate(rows):
        y = 34 + 24 * i
        width = 380 * value / most
        parts += [label(240, y + 14, name, "end"),
                  f'<rect x="250" y="{y}" width="{width:.1f}" height="18" fill="{SECOND if i == 1 else FIRST}"/>',
                  label(256 + width, y + 14, f"{value:,}")]
    return page(720, 44 + 24 * len(rows), parts)


def line(points, box, color):
    """Both axes start at 0, so that what is in proportion is a straight line through the corner."""
    x0, y0, width, height = box
    most_x, most_y = max(x for x, _ in points), max(y for _, y in points) or 1
    places = [(x0 + width * x / most_x, y0 + height * (1 - y / most_y)) for x, y in points]
    path = " ".join(f"{x:.1f},{y:.1f}" for x, y in places)
    return [f'<polyline points="{path}" fill="none" stroke="{color}" stroke-width="1.5"/>',
            *(f'<circle cx="{x:.1f}" cy="{y:.1f}" r="2.5" fill="{color}"/>' for x, y in places)]


def lines(kinds):
    """One plot for each kind: rows of a size and two figures, and the units of these."""
    parts = []
    for i, (kind, (rows, first, second)) in enumerate(kinds.items()):
        x0, y0, width, height = 40 + 360 * (i % 2), 40 + 230 * (i // 2), 270, 150
        parts += [f'<path d="M{x0},{y0} V{y0 + height} H{x0 + width}" fill="none" stroke="{INK}"/>',
                  label(x0, y0 - 22, kind),
                  label(x0, y0 - 6, f"to {max(row[1] for row in rows):,.0f} {first}", color=FIRST),
                  label(x0 + width, y0 - 6, f"to {max(row[2] for row in rows):,.0f} {second}", "end", SECOND),
                  label(x0, y0 + height + 16, "0"), label(x0 + width, y0 + height + 16, str(rows[-1][0]), "end"),
                  *line([(size, y) for size, y, _ in rows], (x0, y0, width, height), FIRST),
                  *line([(size, y) for size, _, y in rows], (x0, y0, width, height), SECOND)]
    return page(740, 40 + 230 * ((len(kinds) + 1) // 2), parts)
