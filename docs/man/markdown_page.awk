# Makes a manual page of a Markdown document. Variables: page, section, brief, and see: other pages.
# Tables become lists: the first column is the term, the others are named where there are several.

function print_row(line,    cells, count, i, text, cell) {
    count = split(substr(line, 2), cells, "|")
    for (i = 1; i < count; ++i) {
        gsub(/^ +| +$/, "", cells[i])
        if (row == 1)
            columns[i] = cells[i]
    }
    if (row == 1 || line ~ /^\|[-|]*$/)
        return
    for (i = 2; i < count; ++i) {
        cell = cells[i]
        if (cell != "")
            text = text (text == "" ? "" : "; ") (count > 3 ? columns[i] ": " : "") cell
    }
    if (block != "tag")
        open_block("tag", ".Bl -tag -width Ds")
    print ".It " arguments(cells[1])
    if (text != "")
        print prose(text)
}

# [text](target) is its text, but for a document that is a page of its own.
function without_links(line,    target) {
    gsub(/\[kivd\.md\]\(kivd\.md\)/, "kivd(8)", line)
    while (match(line, /\]\([^)]*\)/)) {
        target = substr(line, RSTART + 2, RLENGTH - 3)
        line = substr(line, 1, RSTART - 1) substr(line, RSTART + RLENGTH)
        sub(/\[/, "", line)
    }
    return line
}

BEGIN {
    page_head(page, section)
    print ".Sh NAME"
    print ".Nm " page
    print ".Nd " arguments(brief)
    print ".Sh DESCRIPTION"
    begin_text()
}
/^# / { next }
/^```/ {
    if (fenced) {
        print ".Ed"
        gap = 1
    } else {
        close_block()
        print ".Bd -literal -offset indent"
    }
    fenced = !fenced
    fresh = 0
    next
}
fenced { print literal($0); next }
/^## / {
    close_block()
    print ".Ss " arguments(substr($0, 4))
    begin_text()
    next
}
/^\|/ { ++row; print_row($0); next }
row { row = 0; close_block() }
{ text_line(without_links($0)) }
END {
    close_block()
    print_see_also(see)
}
