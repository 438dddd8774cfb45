"""Draws each group's outcomes with gnuplot: bars of ours and of what it is compared with, over the
latter, and the limit as a line. Times with a limit of their own are drawn as shares of it."""
import os
import shutil
import subprocess

from figures import number, wanted, with_unit

OURS, OTHERS, BESIDE, LIMIT = "#2b6cb0", "#b7791f", "#c3c9d1", "#c53030"
ROW_HEIGHT = 34  # pixels
FRAME_HEIGHT = 120
WIDTH = 1100
DECADES_FROM = 12  # spans from here on are drawn on a logarithmic scale


def draw(outcomes, directory):
    """Returns the names of the files."""
    if shutil.which("gnuplot") is None:
        raise RuntimeError("gnuplot is not installed; script/bootstrap bench installs it")
    os.makedirs(directory, exist_ok=True)
    files = []
    for group in dict.fromkeys(outcome.row.group for outcome in outcomes):
        drawn = [outcome for outcome in outcomes if outcome.row.group == group and height(outcome)]
        if not drawn:
            continue
        file = os.path.join(directory, group.replace(" ", "-") + ".svg")
        run_gnuplot(script(group, drawn, file))
        files.append(file)
    return files


def run_gnuplot(text):
    done = subprocess.run(["gnuplot"], input=text, text=True, capture_output=True, check=False)
    if done.returncode != 0 or done.stderr:
        raise RuntimeError("gnuplot: " + done.stderr.strip())


def height(outcome):
    """How far the bar of ours reaches; None where there is nothing to draw."""
    row = outcome.row
    if outcome.judged is None:
        return None
    if row.beside is None:
        return outcome.ours / row.bar.limit if row.bar and row.bar.limit else None
    return over_beside(outcome, outcome.ratio)


def over_beside(outcome, ratio):
    bar = outcome.row.bar
    return 1 / ratio if bar and bar.kind == "at least" else ratio


def limit(outcome):
    bar = outcome.row.bar
    if bar is None:
        return None
    return over_beside(outcome, bar.limit) if outcome.row.beside else 1


def label(outcome):
    row = outcome.row
    figure = with_unit(outcome.ours, row.unit)
    if row.beside is None:
        return f"{figure}, {wanted(row)}"
    ratio = number(outcome.ratio)
    return ", ".join(filter(None, (ratio, wanted(row)))) + (f"   {figure}" if figure else "")


def quoted(text):
    return "'" + text.replace("'", "''") + "'"


def axis(outcomes):
    """Where the horizontal axis begins and ends, and whether it is logarithmic."""
    values = [1] + [height(outcome) for outcome in outcomes]
    values += [limit(outcome) for outcome in outcomes if limit(outcome)]
    is_logarithmic = max(values) / min(values) >= DECADES_FROM
    if not is_logarithmic:
        return 0, max(values) * 1.45, False
    first = min(values) / 2
    return first, max(values) * (max(values) / first) ** 0.45, True


def rectangle(first, last, top, bottom, colour):
    return (f"set object rectangle from {first:g},{top:g} to {last:g},{bottom:g}"
            f" fillcolor rgb '{colour}' fillstyle solid noborder")


def bar_of_row(outcome, place, first):
    """Rows are at 0, 1, 2 ... from the top."""
    row = outcome.row
    reach = height(outcome)
    lines = [rectangle(first, reach, place - 0.36, place + 0.06, OURS if row.is_ours else OTHERS)]
    end = reach
    if row.beside is not None:
        lines.append(rectangle(first, 1, place + 0.06, place + 0.30, BESIDE))
    if limit(outcome):
        at = limit(outcome)
        end = max(end, at)
        lines.append(f"set arrow from {at:g},{place - 0.42:g} to {at:g},{place + 0.36:g} nohead"
                     f" front linewidth 2.5 linecolor rgb '{LIMIT}'")
    lines.append(f"set label {quoted(label(outcome))} at {end:g},{place - 0.15:g} offset 0.8,0"
                 f" front textcolor rgb '#1a202c'")
    return lines


def beside_text(outcome):
    if outcome.row.beside is None:
        return "\\nof its limit"
    return "\\nbeside " + with_unit(outcome.beside, outcome.row.unit)


def script(group, outcomes, file):
    first, last, is_logarithmic = axis(outcomes)
    rows = len(outcomes)
    names = ", ".join(f'"{outcome.row.name}{beside_text(outcome)}" {place}'
                      for place, outcome in enumerate(outcomes))
    lines = [
        f"set terminal svg size {WIDTH},{FRAME_HEIGHT + ROW_HEIGHT * rows} noenhanced"
        " font 'sans-serif,12' background '#ffffff'",
        f"set output {quoted(file)}",
        f"set title {quoted(group)} font ',15'",
        "set border 1 linecolor rgb '#4a5568'",
        "set tics nomirror",
        f"set ytics scale 0 ({names})",
        f"set xrange [{first:g}:{last:g}]",
        f"set yrange [{rows - 0.5:g}:-0.6]",
        "set grid xtics linecolor rgb '#e2e8f0'",
        "set xlabel 'over what it is compared with; shorter is better'",
        "set key outside top center horizontal samplen 2",
    ]
    if is_logarithmic:
        lines.append("set logscale x")
    for place, outcome in enumerate(outcomes):
        lines += bar_of_row(outcome, place, first)
    lines.append("plot " + ", ".join(legend(outcomes)))
    return "\n".join(lines) + "\n"


def legend(outcomes):
    entries = [(OURS, "ours")]
    if not all(outcome.row.is_ours for outcome in outcomes):
        entries.append((OTHERS, "others"))
    if any(outcome.row.beside for outcome in outcomes):
        entries.append((BESIDE, "beside"))
    for colour, title in entries:
        yield f"NaN with lines linewidth 8 linecolor rgb '{colour}' title '{title}'"
    if any(limit(outcome) for outcome in outcomes):
        yield f"NaN with lines linewidth 2.5 linecolor rgb '{LIMIT}' title 'limit'"
