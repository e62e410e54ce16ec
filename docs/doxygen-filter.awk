# What doxygen reads in place of a public header. Comments are laid out to be read where they stand; here
#   - the comment before "namespace quarn" becomes that of the file;
#   - an indented table or formula is shown as it stands;
#   - a section ("Requires: ...") becomes a paragraph, and one that is laid out in columns is shown as it stands.
# Line numbers stay, so that warnings point to the header.

function text(line) { sub(/^ *\/\/\/ ?/, "", line); return line }
# Blocks become comments of the other kind: doxygen leaves the slashes in text that is shown as it stands.
function put(i, line) { print (i == 1 ? "/** " : "") line (i == n ? " */" : "") }
function isSection(line) { return text(line) ~ /^[A-Z][A-Za-z]*( [a-z]+)?( [a-z]+)?: / }
function isContinuation(line) { return text(line) ~ /^  +[^ ]/ }

# The last of the lines from i on that are indented, or blank between indented ones.
function endOfIndented(i,    last) {
    for (last = i - 1; i <= n; ++i) {
        if (isContinuation(block[i])) last = i
        else if (text(block[i]) !~ /^ *$/) break
    }
    return last
}

function endOfSection(i) {
    while (i < n && isContinuation(block[i + 1])) ++i
    return i
}

function inColumns(from, to,    i, line) {
    for (i = from; i <= to; ++i) {
        line = text(block[i])
        if (i == from) sub(/^[^:]*: */, "", line)
        if (line ~ /[^ ]   +[^ ]/) return 1
    }
    return 0
}

function show(from, to,    i, margin) {
    match(text(block[from]), /^ */)
    margin = RLENGTH + 1
    for (i = from; i <= to; ++i)
        put(i, (i == from ? "@verbatim " : "") substr(text(block[i]), margin) (i == to ? " @endverbatim" : ""))
}

function showParagraph(from, to,    i, line) {
    line = text(block[from])
    sub(/: */, ":</b> ", line)
    put(from, "<p><b>" line)
    for (i = from + 1; i <= to; ++i) {
        line = text(block[i])
        sub(/^ +/, "", line)
        put(i, line)
    }
}

function flush(isOfFile,    i, last) {
    if (blankBefore) print isOfFile ? "/** @file */" : ""
    blankBefore = 0
    for (i = 1; i <= n; ++i) {
        if (isSection(block[i])) {
            last = endOfSection(i)
            if (inColumns(i, last)) show(i, last); else showParagraph(i, last)
            i = last
        } else if (isContinuation(block[i])) {
            last = endOfIndented(i)
            show(i, last)
            i = last
        } else put(i, text(block[i]))
    }
    n = 0
}

/^ *\/\/\/([^<]|$)/ { block[++n] = $0; next }
{
    flush(/^namespace quarn/ && n > 0)
    if (/^$/) blankBefore = 1; else print
}
END { flush(0) }
