# SPDX-License-Identifier: MIT
# Makes a source of tests out of the examples in a public header or on a Markdown page.
#
# awk -v name=NAME -f extract.awk FILE >SOURCE: NAME is what messages call the file.
#
# An example is a run of comment lines indented by four spaces or more, or a Markdown block marked
# cpp; a block below a line with nothing but a link to a source is none, since that source is built.
# Every public header is included in front of it; its own #include lines go there too. The rest is
# the body of a function, or, where the example has a main, that main is the function. A comment
# at the end of a one-line statement, or alone on its line, may state what then has to hold:
#
#     int a = Sum(1, 2);   // 3: the value of what is declared or assigned
#     Sum(2, 2);           // 4, the value of the call
#     Fill(text, size);    // text is "full", size is 4
#     std::puts("hello");  // prints "hello", then "more": all that the example prints, by line
#
# A value is a number, a quoted string, true, false, nullptr or a name that begins with Vorn::, and
# ends the comment or is followed by a comma, a colon, a semicolon or a bracket. Every other comment
# is prose. An example that states something, or prints, is run in an empty directory of its own;
# the others are compiled only.

BEGIN {
    VALUE = "(-?[0-9][0-9a-fA-FxX.]*|\"([^\"\\\\]|\\\\.)*\"|true|false|nullptr|" \
            "Vorn::[A-Za-z0-9_:]*[A-Za-z0-9_])"
    suite = name
    sub(/^(Bases|docs)\//, "", suite)
    gsub(/[^A-Za-z0-9]/, "_", suite)
    print "#include \"checks/examples/Example.h\""
}

# --- One example, when all of its lines are known ------------------------------------------------

function complain(line, text) {
    print name ":" line ": " text >"/dev/stderr"
    failed = 1
}

# The value at the begin of the text, or nothing.
function value_of(text) {
    if (!match(text, "^" VALUE "([,:;(]| \\(|$)"))
        return ""
    match(text, "^" VALUE)
    return substr(text, 1, RLENGTH)
}

function demand(value, what) {
    ++stated
    return " EXPECT_TRUE(VornTest::Is(" value ", " what "));"
}

function demand_names(comment,    result, what, value) {
    while (match(comment, /^[A-Za-z_][^ ]* is /)) {
        what = substr(comment, 1, RLENGTH - 4)
        comment = substr(comment, RLENGTH + 1)
        value = value_of(comment)
        if (value == "")
            break
        result = result demand(value, what)
        comment = substr(comment, length(value) + 1)
        sub(/^, (and )?/, "", comment)
    }
    return result
}

function note_printed(comment,    value) {
    sub(/^prints /, "", comment)
    while ((value = value_of(comment)) != "") {
        printed = printed " " value " \"\\n\""
        ++stated
        comment = substr(comment, length(value) + 1)
        sub(/^, (then )?/, "", comment)
    }
}

# The statement with what its comment demands of it.
function translate(line, number,    at, code, comment, value) {
    at = index(line, "// ")
    if (at == 0)
        return line
    code = substr(line, 1, at - 1)
    comment = substr(line, at + 3)
    if (comment ~ /^prints "/) {
        note_printed(comment)
        return code
    }
    value = value_of(comment)
    if (value == "")
        return code demand_names(comment)
    if (code !~ /; *$/ || previous !~ /(^|[;:{})]) *$/) {
        complain(number, "the value " value " does not follow a statement that fits on its line")
        return code
    }
    if (match(code, /[A-Za-z_][A-Za-z0-9_]* = /))
        return code demand(value, substr(code, RSTART, RLENGTH - 3))
    sub(/; *$/, "", code)
    return demand(value, code)
}

function flush(    i, line, includes, outside, body, has_main) {
    stated = 0
    printed = previous = includes = outside = ""
    body = "void Run() {\n"
    for (i = 1; i <= count; ++i) {
        line = lines[i]
        if (line ~ /^#include /) {
            includes = includes line "\n"
            line = ""
        } else if (line ~ /^int main\(.*\) \{$/) {
            outside = substr(body, index(body, "\n") + 1)
            line = "void Run() { [[maybe_unused]] int argc = 1; " \
                   "[[maybe_unused]] char* argv[] = {nullptr, nullptr};"
            body = ""
            has_main = 1
        } else {
            line = translate(line, start + i - 1)
        }
        body = body line "\n"
        if (line != "")
            previous = line
    }
    printf "%s", includes
    print "namespace " suite "_" start " {"
    if (has_main)
        print "#line " start " \"" name "\"\n" outside body
    else
        print "[[maybe_unused]] static\n#line " (start - 1) " \"" name "\"\n" body "}"
    print "} // namespace"
    if (stated > 0 || (body ~ /std::(puts|printf)\(/)) {
        print "TEST(ExamplesIn_" suite ", Line" start ") {"
        print "    const std::string printed = VornTest::RunExample(" suite "_" start "::Run);"
        if (printed != "")
            print "    EXPECT_EQ(" substr(printed, 2) ", printed) << \"" name ":" start "\";"
        print "}"
    }
    count = 0
}

function add(line) {
    if (count == 0)
        start = FNR
    while (start + count < FNR)
        lines[++count] = ""
    lines[++count] = line
}

# --- The file, line by line ----------------------------------------------------------------------

name ~ /\.md$/ {
    if (/^```/) {
        inside = $0 == "```cpp" && !linked
        if (count > 0)
            flush()
    } else if (inside)
        add($0)
    if (NF > 0)
        linked = /^\[[^]]*\]\([^)]*\.cpp\)$/
    next
}

{
    is_comment = sub(/^ *\/\/\/?/, "")
    if (is_comment && /^     / && $1 !~ /^\|/)
        add(substr($0, 6))
    else if (count > 0 && (!is_comment || !/^ *$/))
        flush()
}

END {
    if (count > 0)
        flush()
    exit failed
}
