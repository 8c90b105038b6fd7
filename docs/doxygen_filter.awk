# SPDX-License-Identifier: Apache-2.0
# Turns a public header into what Doxygen understands. The headers are written to be read as they stand:
# - a comment in front of a class, or of the whole header, begins with "//" and becomes documentation;
# - such a comment inside a class heads the operations below it and becomes a group of them;
# - an example is indented by four blanks more and needs an empty line in front of it;
# - "<", ">" and "&" in a sentence stand for themselves, which inside quotes they do anyway.
function sentence(text,    out, quoted) {
    while (text != "") {
        quoted = match(text, /"[^"]*"|`[^`]*`/)
        out = out escaped(quoted ? substr(text, 1, RSTART - 1) : text)
        if (!quoted) break
        out = out substr(text, RSTART, RLENGTH)
        text = substr(text, RSTART + RLENGTH)
    }
    return out
}

function escaped(text) {
    gsub(/[\\<>&#@]/, "\\\\&", text)
    return text
}

# Prints the lines of a comment, which are in line[1] to line[lines].
function put(mark, first,    i, text, example, before) {
    if (first != "") print mark " " first
    for (i = 1; i <= lines; ++i) {
        text = line[i]
        example = text ~ /^    /
        if (example != before) print mark
        before = example
        print mark (text == "" ? "" : " " (example ? text : sentence(text)))
    }
}

# A comment has ended in front of the line `next_line`.
function flush(next_line) {
    if (lines == 0) return
    if (kind == "///")
        put(indent "///", "")
    else if (indent == "" && next_line ~ /^(class|struct|enum) /)
        put("///", "")
    else if (indent == "")
        put("///", "@file")
    else {
        if (grouped) print indent "/// @}"
        grouped = next_line == ""
        if (grouped) {
            match(line[1], /^[A-Z][^.]*/)
            print indent "/// @name " substr(line[1], 1, RLENGTH)
            put(indent "///", "")
            print indent "/// @{"
        }
    }
    lines = 0
}

/^ *\/\/\/?( |$)/ {
    match($0, /^ */)
    indent = substr($0, 1, RLENGTH)
    now = $0 ~ /^ *\/\/\// ? "///" : "//"
    if (lines > 0 && now != kind) flush("")
    kind = now
    text = substr($0, RLENGTH + length(kind) + 1)
    sub(/^ /, "", text)
    line[++lines] = text
    next
}
{
    flush($0)
    if (grouped && /^(};|protected:|private:)/) {
        print "    /// @}"
        grouped = 0
    }
    if (match($0, /\/\/\/< /)) $0 = substr($0, 1, RSTART + 4) sentence(substr($0, RSTART + 5))
    print
}
END { flush("") }
