# SPDX-License-Identifier: MIT
# Turns the links of a Markdown page into what Doxygen takes for them: links to pages and headings
# of the output go there, those to headers to the header's page, and what is not in the output
# remains as text. Every heading gets a name for that, made of the page's path and its own words.

# guide/xml.md is guide-xml, wherever it is seen from.
function id_of(path) {
    gsub(/(\.\.\/)+|^docs\/|\.md$/, "", path)
    gsub(/[^A-Za-z0-9]/, "-", path)
    return path
}

# As on the pages themselves: lower case, hyphens for spaces, no other punctuation.
function slug(text) {
    text = tolower(text)
    gsub(/\]\([^)]*\)/, "", text)
    gsub(/[!-,.\/:-@\[-^`{-~]/, "", text)
    gsub(/ /, "-", text)
    return text
}

# Where a target leads in the output; nothing if it leads out of it.
function goal(target,    path, anchor) {
    if (target ~ /^[a-z]+:/)
        return target
    anchor = path = target
    sub(/#.*/, "", path)
    if (!sub(/^[^#]*#/, "", anchor))
        anchor = ""
    if (path != "" && path !~ /\//)
        path = directory path
    if (path ~ /\.h$/) {
        sub(/.*\//, "", path)
        return "@ref " path
    }
    if (path != "" && path !~ /\.md$/)
        return ""
    if (path ~ /examples\//)
        return ""
    path = path == "" ? page : id_of(path)
    if (path == "README" && anchor == "")
        return "@ref index"
    return "@ref " path (anchor == "" ? "" : "--" anchor)
}

function linked(text,    result, label, target) {
    result = ""
    while (match(text, /!?\[[^]]*\]\([^)]*\)/)) {
        result = result substr(text, 1, RSTART - 1)
        label = target = substr(text, RSTART, RLENGTH)
        text = substr(text, RSTART + RLENGTH)
        if (label ~ /^!/) {
            result = result label
            continue
        }
        sub(/^\[/, "", label)
        sub(/\]\([^)]*\)$/, "", label)
        sub(/.*\]\(/, "", target)
        sub(/\)$/, "", target)
        target = goal(target)
        result = result (target == "" ? label : "[" label "](" target ")")
    }
    return result text
}

FNR == 1 {
    page = FILENAME
    root = ENVIRON["PWD"] "/"
    if (index(page, root) == 1)
        page = substr(page, length(root) + 1)
    directory = page
    sub(/[^\/]*$/, "", directory)
    page = id_of(page)
}

/^ *```/ { inside = !inside }

!inside && /^# / && page != "README" {
    print $0 " {#" page "}"
    next
}

!inside && /^##+ / {
    text = $0
    sub(/^#+ +/, "", text)
    print $0 " {#" page "--" slug(text) "}"
    next
}

{ print inside ? $0 : linked($0) }
