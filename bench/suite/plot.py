"""CPU per query of every program in every scenario, as horizontal bars in an SVG file."""

import html

from . import places, scenarios

_TITLES = {s.name: s.title for s in (*scenarios.MAIN, *scenarios.FURTHER)}
_WIDTH, _LABEL, _BAR, _GAP, _TITLE = 860, 150, 16, 4, 34
_COLOURS = (("bare", "#9aa0a6"), ("proxy", "#1a73e8"), ("", "#e8a33d"))


def _colour(program):
    return next(colour for start, colour in _COLOURS if program.startswith(start))


def _text(x, y, text, size=12, weight="normal"):
    return f'<text x="{x:.0f}" y="{y:.0f}" font-size="{size}" font-weight="{weight}">{html.escape(text)}</text>'


def _panel(top, name, programs):
    """The bars of one scenario, each on a scale of its own scenario; returns their parts and their end."""
    most = max(row["cpu_us"] for row in programs.values())
    parts = [_text(10, top + 20, f"{_TITLES[name]}: CPU microseconds per query", 14, "bold")]
    y = top + _TITLE
    for program, row in programs.items():
        length = (_WIDTH - _LABEL - 80) * row["cpu_us"] / most
        parts.append(_text(10, y + 12, program))
        parts.append(f'<rect x="{_LABEL}" y="{y}" width="{length:.1f}" height="{_BAR}" fill="{_colour(program)}"/>')
        parts.append(_text(_LABEL + length + 6, y + 12, f"{row['cpu_us']:.2f}"))
        y += _BAR + _GAP
    return parts, y + _GAP


def write(cpu_by_scenario):
    parts, top = [], 0
    for name, programs in cpu_by_scenario.items():
        panel, top = _panel(top, name, programs)
        parts += panel
    head = f'<svg xmlns="http://www.w3.org/2000/svg" width="{_WIDTH}" height="{top}" font-family="sans-serif">'
    background = f'<rect width="{_WIDTH}" height="{top}" fill="white"/>'
    (places.RESULTS / "cpu_per_query.svg").write_text("\n".join([head, background, *parts, "</svg>", ""]))
