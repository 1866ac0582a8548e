"""Writes the figures as a document, with plots beside it."""
import pathlib

FINDINGS = pathlib.Path(__file__).resolve().parent / "findings.md"

HEAD = """# Performance

Written by `scripts/bench`, from `bench/results.json`; `scripts/bench <suite>` measures one suite anew, and
`--quick` with fewer runs. Times differ between machines: compare what one table has side by side, which was
measured in turn in one session on a private virtual desktop. Figures are min / **median** / max over the runs.
"""


def number(value):
    return f"{value:,.0f}".replace(",", " ") if abs(value) >= 100 else f"{value:.3g}"


def told(spread):
    """One figure of several runs."""
    if spread is None:
        return "–"
    return f"{number(spread['min'])} / **{number(spread['median'])}** / {number(spread['max'])}"


def table(header, rows):
    lines = ["| " + " | ".join(header) + " |", "|" + "---|" * len(header)]
    return lines + ["| " + " | ".join(str(cell) for cell in row) + " |" for row in rows] + [""]


def dots(path, title, unit, series, held_to=None):
    """One row of dots for each series, on one scale from zero."""
    width, left, row = 760, 120, 34
    height = row * len(series) + 70
    top = max(value for values in series.values() for value in values) * 1.05
    place = lambda value: left + value / top * (width - left - 30)
    lines = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" '
             'font-family="sans-serif" font-size="12">',
             f'<rect width="{width}" height="{height}" fill="white"/>',
             f'<text x="10" y="20" font-size="14">{title}</text>']
    for index, (name, values) in enumerate(series.items()):
        y = 50 + index * row
        lines.append(f'<text x="10" y="{y + 4}">{name}</text>')
        lines += [f'<circle cx="{place(value):.1f}" cy="{y}" r="3" fill="#2060c0" fill-opacity="0.4"/>'
                  for value in values]
    bottom = height - 22
    lines.append(f'<line x1="{left}" y1="{bottom}" x2="{width - 30}" y2="{bottom}" stroke="black"/>')
    for step in range(6):
        value = top * step / 5
        lines.append(f'<text x="{place(value):.1f}" y="{bottom + 16}" text-anchor="middle">'
                     f'{number(value)} {unit}</text>')
    if held_to:
        x = place(held_to)
        lines.append(f'<line x1="{x:.1f}" y1="34" x2="{x:.1f}" y2="{bottom}" stroke="#c02020" '
                     'stroke-dasharray="4"/>')
    path.write_text("\n".join(lines + ["</svg>"]) + "\n")


def write(results, suites, document):
    images = document.parent / "images"
    images.mkdir(parents=True, exist_ok=True)
    lines = [HEAD]
    for name, suite in suites.items():
        if name not in results:
            continue
        result = results[name]
        machine = result["machine"]
        lines += [f"## {suite.TITLE}", "",
                  f"`scripts/bench {'--quick ' if result['quick'] else ''}{name}`, {result['date']}, "
                  f"{machine['processors']} × {machine['processor']}, {machine['memory_mib']} MiB, "
                  f"Linux {machine['kernel']}. Load of the machine before the run "
                  f"{result['load_before']:.1f}, after it {result['load_after']:.1f}.", ""]
        lines += suite.document(result["figures"], images)
    lines.append(FINDINGS.read_text())
    document.write_text("\n".join(lines).rstrip() + "\n")
