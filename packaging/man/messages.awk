# Puts the messages of docs/messages.md into a manual page in the place of the line "%MESSAGES%":
#
#   awk -f messages.awk messages.md manual > paneld.8
#
# A row of a table whose first cell is in backquotes becomes an item of a list, a second-level
# heading a subsection.

function roff(text) {
    gsub(/\\/, "\\e", text)
    gsub(/"/, "\\(dq", text)
    gsub(/'/, "\\(aq", text)
    gsub(/-/, "\\-", text)
    return text
}

# Text in backquotes becomes italic; a sentence gets a line of its own.
function prose(text) {
    text = roff(text)
    while (match(text, /`[^`]*`/)) {
        text = substr(text, 1, RSTART - 1) "\\fI" substr(text, RSTART + 1, RLENGTH - 2) "\\fR" \
            substr(text, RSTART + RLENGTH)
    }
    gsub(/\. /, ".\n", text)
    return text
}

function open_list() {
    if (!list_open) {
        messages = messages ".Bl -tag -width Ds\n"
        list_open = 1
    }
}

function close_list() {
    if (list_open) {
        messages = messages ".El\n"
        list_open = 0
    }
}

FNR == 1 { file++ }

file == 1 && /^## / {
    close_list()
    messages = messages ".Ss \\&" substr($0, 4) "\n" # "At" is a macro too
}

file == 1 && /^[|] `/ {
    split($0, cell, / *[|] */)
    open_list()
    messages = messages ".It Li \"" roff(substr(cell[2], 2, length(cell[2]) - 2)) "\"\n"
    messages = messages prose(cell[3]) "\n.Pp\n" prose(cell[4]) "\n"
}

file == 2 && /^%MESSAGES%$/ {
    close_list()
    printf "%s", messages
    next
}

file == 2 { print }
