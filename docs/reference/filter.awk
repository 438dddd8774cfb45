# Shows Doxygen a public header as it wants comments: "/** ... */" in front of every declaration
# that one is about, "/**< ... */" behind fields, and the sections of the header as groups.

# Without what Doxygen would take for commands, tags or links.
function escaped(text,    parts, count, i, out) {
    count = split(text, parts, "`")
    if (count % 2 == 0) {
        gsub(/`/, "'", text)
        count = split(text, parts, "`")
    }
    for (i = 1; i <= count; ++i) {
        if (i % 2 == 1) {
            gsub(/[\\@<>#%&$~*]/, "\\\\&", parts[i])
            out = out parts[i]
        } else {
            out = out "`" parts[i] "`"
        }
    }
    return out
}

# Lines that are indented, but are no items of a list, stay as they are.
function add_line(line,    is_item, depth) {
    match(line, /^ */)
    depth = RLENGTH
    is_item = line ~ /^ ? ?([0-9]+\.|-) /
    if (is_item)
        in_list = 1
    else if (line !~ /^ /)
        in_list = 0
    if (depth >= 2 && !in_list && line !~ /^ *$/) {
        if (!verbatim)
            comment = comment "@verbatim\n"
        verbatim = 1
        comment = comment line "\n"
        return
    }
    end_verbatim()
    comment = comment escaped(line) "\n"
}

function end_verbatim() {
    if (verbatim)
        comment = comment "@endverbatim\n"
    verbatim = 0
}

function print_comment() {
    if (comment != "")
        print "/** " comment "*/"
}

function print_lead(    end, brief) {
    sub(/^\n/, "", comment)
    sub(/^[a-z_]*\.h - /, "", comment)
    end = index(comment, "\n\n")
    brief = end ? substr(comment, 1, end) : comment
    if (FILENAME ~ /\/kiv\.h$/)
        print "/** @mainpage libkiv\n" comment "*/"
    print "/** @file\n@brief " brief (end ? substr(comment, end) : "") "*/"
}

# Comments at the beginning of a line; the first is that of the file.
/^\/\* -- / {
    if (grouped++)
        print "/** @} */"
    sub(/^\/\* -- */, "")
    sub(/ *-* *\*\/$/, "")
    print "/** @name " escaped($0) " */\n/** @{ */"
    next
}
/^\/\*/ && depth == 0 {
    comment = ""
    in_comment = 1
    verbatim = in_list = 0
}
in_comment {
    ended = sub(/ *\*\/ *$/, "")
    sub(/^(\/\*| \*) ?/, "")
    add_line($0)
    if (ended) {
        in_comment = 0
        end_verbatim()
        if (!has_lead) {
            print_lead()
            comment = ""
        }
        has_lead = pending = 1
    }
    next
}
/^$/ && depth == 0 { comment = "" }
{
    # Each statement of a declaration's lines has the comment.
    if (pending && depth == 0 && !/^[ {}]/)
        print_comment()
    is_macro = /^#define/ || continued
    continued = /\\$/
    pending = !continued && (/^#/ || /;/ || is_macro)
    depth += gsub(/[{]/, "{") - gsub(/[}]/, "}")
    if (!is_macro)
        sub(/\/\* /, "/**< ")
    if (/^(KIV_EXTERN_C_END|KIV_PLATFORM_END)$/ && grouped) {
        print "/** @} */"
        grouped = 0
    }
    print
}
