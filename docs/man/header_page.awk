# Makes the manual page of a public header: its comments are the text, its declarations the
# displays between them. Variables: page; header, library; see: other pages; links: a folder for
# pages that lead from a function's name to this one.

function names_of(code,    statements, count, i, statement, name) {
    gsub(/__attribute__\(\([^;]*\)\)\) /, "", code)
    count = split(code, statements, ";")
    for (i = 1; i <= count; ++i) {
        statement = statements[i]
        if (statement !~ /KIV_API|KIV_PLATFORM_API|KIV_BE_INLINE/)
            continue
        sub(/[(\[].*/, "", statement)
        sub(/ *KIV_[A-Z]*$/, "", statement)
        if (match(statement, /[a-zA-Z][A-Za-z_0-9]* *$/)) {
            name = substr(statement, RSTART)
            sub(/ *$/, "", name)
            if (!(name in known)) {
                known[name] = 1
                names[++name_count] = name
            }
        }
    }
}

# A line of code without what only the compiler needs; lines that go on with a declaration stay
# below its first one.
function shown(line,    length_before) {
    if (shift > 0)
        sub("^" sprintf("%" shift "s", ""), "", line)
    length_before = length(line)
    gsub(/(KIV_API|KIV_PLATFORM_API|KIV_BE_INLINE) /, "", line)
    sub(/^__attribute__\(\([^;]*\)\)\) /, "", line)
    shift += length_before - length(line)
    gsub(/ *(KIV_NOEXCEPT|KIV_PLATFORM_NOEXCEPT)/, "", line)
    if (line ~ /;/)
        shift = 0
    sub(/ *\\$/, "", line)
    return line
}

function add(kind, text) {
    kinds[++count] = kind
    texts[count] = text
}

function end_code() {
    if (code != "")
        add("code", code)
    code = ""
    depth = 0
}

function comment_text(line) {
    sub(/^(\/\*| \*\/?) ?/, "", line)
    sub(/ *\*\/ *$/, "", line)
    return line
}

/^#ifdef __cplusplus/ { hidden = 1; next }
hidden { if (/^#endif/) hidden = 0; next }
/^#(if|endif|include|undef)/ || /^#define KIV[A-Z_]*_(H$|API )/ { next }
/^extern void __assert_fail/ { skipped = 1 }
skipped { if (/;/) skipped = 0; next }
/^KIV_(EXTERN_C|PLATFORM)_(BEGIN|END)$/ || /^ *KIV_BE_CONVERSIONS/ { next }

/^\/\* -- / {
    end_code()
    sub(/^\/\* -- */, "")
    sub(/ *-* *\*\/$/, "")
    add("section", $0)
    next
}
/^\/\*/ {
    end_code()
    in_comment = 1
    add("text", "")
}
in_comment {
    texts[count] = texts[count] comment_text($0) "\n"
    if (/\*\//)
        in_comment = 0
    next
}
/^[{]/ { in_body = 1; sub(/\n$/, ";\n", code); all = all ";"; shift = 0 }
in_body { if (/^[}]/) in_body = 0; next }
/^$/ && depth == 0 { end_code(); next }
{
    all = all " " $0
    code = code shown($0) "\n"
    depth += gsub(/[{]/, "{") - gsub(/[}]/, "}")
}

function print_text(text,    lines, line_count, i) {
    line_count = split(text, lines, "\n")
    for (i = 1; i <= line_count; ++i)
        text_line(lines[i])
}

function print_code(text,    lines, line_count, i) {
    close_block()
    print ".Bd -literal"
    line_count = split(text, lines, "\n")
    for (i = 1; i < line_count; ++i)
        print literal(lines[i])
    print ".Ed"
    fresh = 0
    gap = 1
}

# The first paragraph of the header is "NAME.h - what it is".
function split_lead(    end) {
    lead = texts[1]
    sub(/^\n/, "", lead)
    sub(/^[a-z_]*\.h - /, "", lead)
    end = index(lead, "\n\n")
    brief = end ? substr(lead, 1, end - 1) : lead
    lead = end ? substr(lead, end + 2) : ""
    gsub(/\n/, " ", brief)
    sub(/\. *$/, "", brief)
}

function print_names(    i) {
    print ".Sh NAME"
    printf ".Nm %s", page
    for (i = 1; i <= name_count; ++i) {
        if (names[i] == page)
            continue
        printf " ,\n.Nm %s", names[i]
        if (links != "" && names[i] ~ /^(kiv|kivd|talvek|ovra|cmi)_/) {
            print ".so man3/" page ".3" > (links "/" names[i] ".3")
            close(links "/" names[i] ".3")
        }
    }
    print ""
    print ".Nd " arguments(brief)
}

END {
    end_code()
    names_of(all)
    split_lead()
    page_head(page, 3)
    print_names()
    print ".Sh LIBRARY"
    print library " (\\-l" substr(library, 4) ")"
    print ".Sh SYNOPSIS"
    print ".In " header
    print ".Sh DESCRIPTION"
    begin_text()
    print_text(lead)
    for (i = 2; i <= count; ++i) {
        if (kinds[i] == "section") {
            close_block()
            print ".Ss " arguments(texts[i])
            begin_text()
        } else if (kinds[i] == "code") {
            print_code(texts[i])
        } else if (kinds[i + 1] == "code") {
            # The declarations come first, as the text is about them.
            print_code(texts[i + 1])
            print_text(texts[i])
            close_block()
            gap = 1
            ++i
        } else {
            gap = 1
            print_text(texts[i])
            gap = 1
        }
    }
    close_block()
    print_see_also(see)
}
