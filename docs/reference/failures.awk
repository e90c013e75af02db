# SPDX-License-Identifier: MIT
# Makes a page of what the public headers, the arguments, say about failure: a table for each, with
# the sentences of each operation's comment that tell how it fails.

function tells_failure(sentence) {
    return sentence ~ /[Ff]ail|false|refuse|[Tt]hrows|(stops|ends) the process|runs? out/ ||
        sentence ~ /[Rr]eturns? (null|0|-1)|, or (null|0|-1) |null (when|for|if)/
}

# The comment's text in one line, without tables and code, its lists as they read on.
function text_of(comment,    lines, count, i, text) {
    count = split(comment, lines, "\n")
    for (i = 1; i <= count; ++i) {
        sub(/^- /, "", lines[i])
        if (lines[i] !~ /^ *\|/ && lines[i] !~ /^    /)
            text = text (text == "" ? "" : " ") lines[i]
    }
    gsub(/  +/, " ", text)
    sub(/ $/, "", text)
    return text
}

# The sentences about failure. A full stop in a quotation ends none.
function failures_of(comment,    pieces, count, i, sentence, result) {
    count = split(text_of(comment), pieces, /\. /)
    sentence = ""
    for (i = 1; i <= count; ++i) {
        sentence = sentence (sentence == "" ? "" : ". ") pieces[i]
        if (i < count && gsub(/"/, "\"", sentence) % 2 == 1)
            continue
        if (tells_failure(sentence))
            result = result (result == "" ? "" : " ") sentence (i < count ? "." : "")
        sentence = ""
    }
    return result
}

# The operation's name, with its class or namespace.
function name_of(declaration) {
    if (!sub(/.*operator/, "operator", declaration)) {
        sub(/\(.*/, "", declaration)
        sub(/.*[ *&]/, "", declaration)
    }
    sub(/\(.*/, "", declaration)
    return scope == "" ? declaration : scope "::" declaration
}

function print_row(name, failures) {
    if (failures == "" || printed[name, failures]++)
        return
    if (file != FILENAME) {
        file = FILENAME
        print "\n## " file "\n\n| Operation | How it fails |\n|---|---|"
    }
    gsub(/\|/, "\\|", failures)
    if (!gsub(/\|/, "\\|", name)) # code has no escapes
        name = "`" name "`"
    print "| " name " | " failures " |"
}

BEGIN {
    print "# Failures, operation by operation {#failures}\n"
    print "What the headers say about the failure of single operations. For the rest, see what is said of"
    print "their class, namespace or header."
}

FNR == 1 { scope = comment = declaration = "" }

/^ *\/\/\// {
    if (!commented)
        comment = ""
    commented = 1
    line = $0
    sub(/^ *\/\/\/ ?/, "", line)
    comment = comment line "\n"
    next
}
{ commented = 0 }
/^$/ { comment = "" }
/^ *(\/\/|#|$)/ { next }

/^(class|struct) .*\{/ {
    scope = $0
    sub(/ *( : .*)?\{.*/, "", scope)
    sub(/.* /, "", scope)
    comment = ""
    next
}
/^namespace / && !/Vorn|std/ { scope = $2 }
/^}/ { scope = "" }
/^ *(public|protected|private):/ { hidden = /private/ }
/^}/ { hidden = 0 }
hidden { next }

{
    declaration = declaration $0
    if ($0 !~ /[;{}] *(\/\/.*)?$/)
        next
    if (declaration ~ /\(/ && declaration !~ /= (delete|default);|inline constexpr|friend/) {
        print_row(name_of(declaration), failures_of(comment))
    }
    declaration = ""
}
