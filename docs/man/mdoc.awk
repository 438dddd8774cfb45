# Text of comments and of Markdown as mdoc; the other scripts here are run together with this one.

# The characters that mean something to troff, or that it would make typographic ones of.
function literal(text) {
    gsub(/\\/, "\\e", text)
    gsub(/-/, "\\-", text)
    gsub(/'/, "\\(aq", text)
    gsub(/`/, "\\(ga", text)
    gsub(/\^/, "\\(ha", text)
    gsub(/~/, "\\(ti", text)
    return text ~ /^\./ ? "\\&" text : text
}

# What stands between backquotes becomes bold.
function marked(text,    parts, count, i, out) {
    count = split(text, parts, "`")
    if (count % 2 == 0)
        return literal(text)
    for (i = 1; i <= count; ++i)
        out = out (i % 2 == 1 ? literal(parts[i]) : "\\fB" literal(parts[i]) "\\fR")
    return out ~ /^\./ ? "\\&" out : out
}

# Each sentence on a line of its own.
function prose(text) {
    text = marked(text)
    gsub(/[.!?] +/, "&\n", text)
    gsub(/ +\n/, "\n", text)
    gsub(/\n\./, "\n\\\\\\&.", text)
    return text
}

# The same as arguments of a macro, of which no word may be a macro itself.
function arguments(text) {
    text = marked(text)
    gsub(/"/, "\\(dq", text)
    gsub(/[^ ]+/, "\\\\\\&&", text)
    return text
}

function indent_of(line) {
    match(line, /^ */)
    return RLENGTH
}

function open_block(kind, macro) {
    if (block == kind)
        return
    close_block()
    if (gap && !fresh && macro ~ /-compact/)
        print ".Pp"
    gap = 0
    block = kind
    print macro
}

function close_block() {
    if (block == "")
        return
    print block == "literal" ? ".Ed" : ".El"
    block = ""
    fresh = 0
    gap = 1
}

# Starts a heading or a part of the page, where no space is needed first.
function begin_text() {
    close_block()
    gap = 0
    fresh = 1
}

# One line of a text: numbered and marked lines are items, what is indented otherwise is kept as it
# stands, everything else flows.
function text_line(line,    depth) {
    depth = indent_of(line)
    if (line ~ /^ *$/) {
        held = block == "literal" ? held + 1 : 0
        if (block != "literal")
            gap = 1
        return
    }
    if (line ~ /^ ? ?[0-9]+\. /) {
        open_block("enum", ".Bl -enum -compact")
        sub(/^ *[0-9]+\. */, "", line)
        print ".It"
        item_depth = depth + 1
    } else if (line ~ /^ *- / && block != "literal") {
        open_block("bullet", ".Bl -bullet -compact")
        sub(/^ *- */, "", line)
        print ".It"
        item_depth = depth + 1
    } else if ((block == "enum" || block == "bullet") && depth >= item_depth) {
        sub(/^ */, "", line)
    } else if (depth >= 2) {
        open_block("literal", ".Bd -literal -offset indent")
        for (; held > 0; --held)
            print ""
        print literal(substr(line, 3))
        return
    } else {
        close_block()
        if (gap && !fresh)
            print ".Pp"
        sub(/^ */, "", line)
    }
    gap = fresh = held = 0
    print prose(line)
}

function page_head(page, section,    upper) {
    upper = toupper(page)
    print ".Dd " date
    print ".Dt " upper " " section
    print ".Os libkiv " release
}

# Names of pages, as "libkiv.3 kivd.8".
function print_see_also(see,    list, count, i, name) {
    print ".Sh SEE ALSO"
    count = split(see, list, " ")
    for (i = 1; i <= count; ++i) {
        name = list[i]
        print ".Xr " substr(name, 1, length(name) - 2), substr(name, length(name)) \
            (i < count ? " ," : "")
    }
}
