"""Two kinds of plots as SVG, readable on light and on dark pages."""

import html
import math

STYLE = """<style>
text { font: 13px system-ui, "Noto Sans", "DejaVu Sans", sans-serif; fill: #23211e; }
.page { fill: #ffffff; }
.faint { fill: #69645c; }
.small { font-size: 11px; fill: #69645c; }
.axis { stroke: #d5d1c9; stroke-width: 1; }
.one { stroke: #69645c; stroke-width: 1; stroke-dasharray: 4 3; }
@media (prefers-color-scheme: dark) {
  text { fill: #e2e0dc; } .page { fill: #191a1b; } .faint, .small { fill: #a29e97; }
  .axis { stroke: #4d5054; } .one { stroke: #a29e97; }
}
</style>"""
COLOURS = ["#d07c1c", "#2f86c9", "#4fa05a", "#b457a0", "#8577d1"]


def _text(x, y, words, anchor="start", kind=""):
    return f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}" class="{kind}">{html.escape(str(words))}</text>'


def _line(x1, y1, x2, y2, kind):
    return f'<line x1="{x1:.1f}" y1="{y1:.1f}" x2="{x2:.1f}" y2="{y2:.1f}" class="{kind}"/>'


def _figure(width, height, parts):
    return "\n".join([f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" width="{width}" '
                      f'height="{height}" role="img">', STYLE,
                      '<rect width="100%" height="100%" class="page"/>', *parts, "</svg>", ""])


def _ticks(low, high):
    """1, 2, 5, 10, ... from the one below `low` to the one above `high`."""
    all_ticks = [m * 10.0**e for e in range(-4, 7) for m in (1, 2, 5)]
    first = max((t for t in all_ticks if t <= low), default=all_ticks[0])
    last = min((t for t in all_ticks if t >= high), default=all_ticks[-1])
    return [t for t in all_ticks if first <= t <= last]


def _short(value):
    return f"{value:g}" if value < 10 else f"{value:.0f}"


def bars(rows, series, title, one):
    """Horizontal bars on a logarithmic axis from `one`: rows are (lines of the label, a value for each series)."""
    width, left, right, bar, gap = 900, 290, 90, 11, 9
    values = [value for _, of_row in rows for value in of_row]
    ticks = _ticks(min(values + [one]), max(values + [one * 2]))
    scale = (width - left - right) / math.log(ticks[-1] / ticks[0])

    def x(value):
        return left + scale * math.log(value / ticks[0])

    top, step = 44, len(series) * bar + gap
    bottom = top + len(rows) * step
    parts = []
    for i, name in enumerate(series):
        parts.append(f'<rect x="{left + 110 * i}" y="6" width="12" height="12" fill="{COLOURS[i]}"/>')
        parts.append(_text(left + 110 * i + 18, 17, name))
    for tick in ticks:
        parts.append(_line(x(tick), top - 6, x(tick), bottom, "one" if tick == one else "axis"))
        parts.append(_text(x(tick), top - 10, _short(tick), "middle", "faint"))
    for row, (label, of_row) in enumerate(rows):
        y = top + row * step
        middle = y + len(series) * bar / 2
        parts.append(_text(left - 10, middle + (5 if len(label) == 1 else -1), label[0], "end"))
        parts += [_text(left - 10, middle + 12, words, "end", "small") for words in label[1:]]
        for i, value in enumerate(of_row):
            start, end = sorted((x(one), x(value)))
            parts.append(f'<rect x="{start:.1f}" y="{y + i * bar}" width="{max(end - start, 1):.1f}" '
                         f'height="{bar - 1}" fill="{COLOURS[i]}"/>')
        figures = " / ".join(_short(round(value, 1)) for value in of_row)
        parts.append(_text(max(x(one), *map(x, of_row)) + 5, y + len(series) * bar - 1, figures))
    parts.append(_text(left, bottom + 20, title, kind="faint"))
    return _figure(width, bottom + 30, parts)


def lines(series, x_title, y_title, logarithmic):
    """Lines through points: series are (name, colour, whether it is a peer, points); those of peers are dashed."""
    width, height, left, right, top, bottom = 900, 440, 62, 250, 16, 52
    xs = [x for *_, points in series for x, _ in points]
    ys = [y for *_, points in series for _, y in points]
    if logarithmic:
        x_ticks, y_ticks = _ticks(min(xs), max(xs)), _ticks(min(ys), max(ys))
        along = math.log
    else:
        x_ticks = [float(t) for t in sorted(set(xs))]
        y_ticks = [float(t) for t in range(0, math.ceil(max(ys + xs)) + 1)]
        along = float

    def place(value, ticks, start, end):
        span = along(ticks[-1]) - along(ticks[0]) or 1
        return start + (end - start) * (along(value) - along(ticks[0])) / span

    def at(x, y):
        return (place(x, x_ticks, left, width - right), place(y, y_ticks, height - bottom, top))

    parts = []
    for tick in x_ticks:
        parts.append(_line(at(tick, y_ticks[0])[0], top, at(tick, y_ticks[0])[0], height - bottom, "axis"))
        parts.append(_text(at(tick, y_ticks[0])[0], height - bottom + 18, _short(tick), "middle", "faint"))
    for tick in y_ticks:
        parts.append(_line(left, at(x_ticks[0], tick)[1], width - right, at(x_ticks[0], tick)[1], "axis"))
        parts.append(_text(left - 8, at(x_ticks[0], tick)[1] + 4, _short(tick), "end", "faint"))
    if not logarithmic:
        parts.append(_line(*at(x_ticks[0], x_ticks[0]), *at(x_ticks[-1], x_ticks[-1]), "one"))
    # The legend follows the order of the lines at their right ends.
    ordered = sorted(series, key=lambda one: -one[-1][-1][1])
    for i, (name, colour, peer, points) in enumerate(ordered):
        dash = ' stroke-dasharray="6 4"' if peer else ""
        colour = COLOURS[colour]
        path = " ".join(f"{x:.1f},{y:.1f}" for x, y in (at(*point) for point in points))
        parts.append(f'<polyline points="{path}" fill="none" stroke="{colour}" stroke-width="2.2"{dash}/>')
        parts += [f'<circle cx="{x:.1f}" cy="{y:.1f}" r="3" fill="{colour}"/>' for x, y in (at(*p) for p in points)]
        y = top + 12 + 24 * i
        parts.append(f'<line x1="{width - right + 16}" y1="{y}" x2="{width - right + 44}" y2="{y}" stroke="{colour}" '
                     f'stroke-width="2.2"{dash}/>')
        parts.append(_text(width - right + 52, y + 4, name))
    parts.append(_text((left + width - right) / 2, height - 10, x_title, "middle", "faint"))
    parts.append(f'<text transform="translate(16 {(top + height - bottom) / 2:.1f}) rotate(-90)" text-anchor="middle" '
                 f'class="faint">{html.escape(y_title)}</text>')
    return _figure(width, height, parts)
