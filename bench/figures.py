"""How figures and their limits are written."""

SCALES = {
    "s": ((1, "s"), (1e-3, "ms"), (1e-6, "us"), (1e-9, "ns")),
    "kB": ((1024, "MB"), (1, "kB")),
    "": ((1, ""),),
}


def with_unit(value, unit):
    """Three digits that count, in the largest unit that leaves one in front of the point."""
    if value is None:
        return ""
    scales = SCALES[unit]
    size, name = next((scale for scale in scales if abs(value) >= scale[0]), scales[-1])
    return f"{number(value / size)} {name}".strip()


def number(value):
    if value is None:
        return ""
    if value == 0 or abs(value) >= 100:
        return f"{value:.0f}"
    digits = 2 if abs(value) >= 0.1 else 3
    return f"{value:.{digits if abs(value) < 10 else 1}f}"


def wanted(row):
    if row.bar is None:
        return ""
    limit = row.bar.limit
    return f"{row.bar.kind} " + (f"{limit:g}" if row.beside else with_unit(limit, row.unit))
