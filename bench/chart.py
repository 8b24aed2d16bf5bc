"""Small line charts as one SVG: what wardenlink costs, and its bare counterpart beside it."""

from xml.sax.saxutils import escape

WIDTH, HEIGHT = 300, 250  # of a panel
LEFT, RIGHT, TOP, BOTTOM = 48, 12, 44, 44

# Light, and dark for readers who prefer that, as tools/svg.py has it.
STYLE = """\
text{font:12px system-ui,sans-serif;fill:#1f2328}.t{font-weight:bold}
.g{fill:#f6f8fa}.a{stroke:#8c959f;fill:none}
.own{stroke:#0969da;fill:none;stroke-width:2}.bare{stroke:#bc4c00;fill:none;stroke-width:2;\
stroke-dasharray:5 4}
@media (prefers-color-scheme:dark){.g{fill:#0d1117}text{fill:#d1d7e0}.own{stroke:#4493f8}\
.bare{stroke:#db6d28}}
"""


def RoundUp(highest):
    """A round number that is not below it."""
    size = 1
    while size * 10 <= highest:
        size *= 10
    return next(size * step for step in (1, 2, 3, 4, 5, 6, 8, 10) if size * step >= highest)


def PaintLine(points, name):
    path = " ".join(f"{x:.1f},{y:.1f}" for x, y in points)
    return f'<polyline class="{name}" points="{path}"/>\n'


def PaintPanel(number, title, across, up, series):
    """series: {x: (own, bare)}."""
    origin = number * WIDTH
    inner, tall = WIDTH - LEFT - RIGHT, HEIGHT - TOP - BOTTOM
    most_x, most_y = max(series), RoundUp(max(max(pair) for pair in series.values()))

    def At(x, y):
        return origin + LEFT + inner * x / most_x, TOP + tall * (1 - y / most_y)
    body = [f'<text class="t" x="{origin + LEFT}" y="18">{escape(title)}</text>\n',
            f'<text x="{origin + LEFT}" y="36">{escape(up)}</text>\n',
            f'<text x="{origin + LEFT + inner / 2:.0f}" y="{HEIGHT - 10}" text-anchor="middle">'
            f'{escape(across)}</text>\n']
    left, bottom = At(0, 0)
    body.append(f'<polyline class="a" points="{left:.1f},{TOP} {left:.1f},{bottom:.1f} '
                f'{left + inner:.1f},{bottom:.1f}"/>\n')
    for y in (0, most_y / 2, most_y):
        body.append(f'<text x="{left - 6:.1f}" y="{At(0, y)[1] + 4:.1f}" text-anchor="end">'
                    f'{y:g}</text>\n')
    for x in (0, most_x / 2, most_x):
        body.append(f'<text x="{At(x, 0)[0]:.1f}" y="{bottom + 16:.1f}" text-anchor="middle">'
                    f'{x:g}</text>\n')
    for kind, name in enumerate(("own", "bare")):
        body.append(PaintLine([At(x, pair[kind]) for x, pair in sorted(series.items())], name))
    return "".join(body)


def Paint(panels):
    """panels: [(title, across, up, series), ...]."""
    width = WIDTH * len(panels)
    legend = (f'<polyline class="own" points="{LEFT},{HEIGHT + 8} {LEFT + 30},{HEIGHT + 8}"/>'
              f'<text x="{LEFT + 36}" y="{HEIGHT + 12}">wardenlink</text>\n'
              f'<polyline class="bare" points="{LEFT + 130},{HEIGHT + 8} {LEFT + 160},'
              f'{HEIGHT + 8}"/><text x="{LEFT + 166}" y="{HEIGHT + 12}">bare counterpart</text>\n')
    body = "".join(PaintPanel(number, *panel) for number, panel in enumerate(panels))
    return (f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {HEIGHT + 24}" '
            f'width="{width}" height="{HEIGHT + 24}">\n'
            f"<title>{escape('; '.join(panel[0] for panel in panels))}</title>\n"
            f"<style>{STYLE}</style>\n"
            f'<rect class="g" width="{width}" height="{HEIGHT + 24}"/>\n{body}{legend}</svg>\n')
