# Makes par.5: reads the records in bmp_template.h and common.h, and the page that is written by hand, in which a line
# ".It @RECORD.FIELD@" becomes the field with its offset and size. Fails unless the page has every
# field of these records in order, and their sizes are those of the file.

function fail(message) {
    print "par.5: " message > "/dev/stderr"
    failed = 1
    exit 1
}

function value(text,    bits) {
    if (text ~ /^KIV_BMP_SIZE\(/) {
        gsub(/^KIV_BMP_SIZE\(|\)$/, "", text)
        return int((constants[text] + 31) / 32) * 4
    }
    return text ~ /^[0-9]+$/ ? text + 0 : constants[text]
}

BEGIN {
    size_of["char"] = size_of["uint8_t"] = 1
    size_of["kiv_be16"] = 2
    size_of["kiv_be32"] = 4
    size_of["kiv_be64"] = 8
}

FILENAME ~ /\.h$/ && /^#define [A-Z_]+ [0-9]+$/ { constants[$2] = $3 }
FILENAME ~ /\.h$/ && /^typedef struct kiv_[a-z_]+ [{]$/ { record = $3; offset = 0; next }
FILENAME ~ /\.h$/ && record != "" && /^[}]/ { size_of[record] = offset; record = "" }
FILENAME ~ /\.h$/ && record != "" && /^    [a-z0-9_]+ [a-z_]+(\[.*\])?;/ {
    field = $2
    sub(/;.*/, "", field)
    elements = 1
    if (match(field, /\[.*\]/)) {
        elements = value(substr(field, RSTART + 1, RLENGTH - 2))
        field = substr(field, 1, RSTART - 1)
    }
    size = size_of[$1] * elements
    place[record "." field] = offset
    extent[record "." field] = size
    offset += size
}
FILENAME ~ /\.h$/ { next }

/^\.It @/ {
    name = $2
    gsub(/@/, "", name)
    record = field = name
    sub(/\..*/, "", record)
    sub(/.*\./, "", field)
    if (!(name in place) || extent[name] == 0)
        fail("no field " name)
    if (place[name] != described[record] + 0)
        fail("a field is missing in front of " name)
    described[record] += extent[name]
    printf ".It Va %s Pq offset %d , size %d\n", field, place[name], extent[name]
    next
}
{
    gsub(/@DATE@/, date)
    gsub(/@RELEASE@/, release)
    print
}
END {
    if (failed)
        exit 1
    if (described["kiv_array_tree_node"] != 1000 || described["kiv_parameter"] != 100)
        fail("a record is not whole")
}
