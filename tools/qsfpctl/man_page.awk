# Turns docs/qsfpctl.md into the markdown go-md2man makes qsfpctl.1 from: a
# title line, the manual's first heading as NAME, its sections one level up
# (## -> .SH, ### -> .SS). Tables become one paragraph per row (the first
# cell in bold), since wide tables do not fit a terminal's page; example lines
# that begin with a dot get a leading space, so troff does not take them for
# requests (go-md2man passes them through as they are).
# usage: awk -f man_page.awk docs/qsfpctl.md > qsfpctl.1.md
function cells(line, out,    n, i, parts) {
    sub(/^\| */, "", line)
    sub(/ *\|$/, "", line)
    n = split(line, parts, / *\| */)
    for (i = 1; i <= n; i++) out[i] = parts[i]
    return n
}
function table_row(line,    n, i, c, text) {
    n = cells(line, c)
    text = "**" c[1] "**"
    for (i = 2; i <= n; i++) text = text (i == 2 ? ": " : "; ") c[i]
    print text
    print ""
}
BEGIN { print "% QSFPCTL 1 \"\" \"qsfp\" \"User Commands\""; fenced = 0; named = 0 }
/^```/ { fenced = !fenced; print; next }
fenced && /^[.']/ { print " " $0; next }
fenced { print; next }
!named && /^# / {
    name = substr($0, 3)
    sub(/ — /, " - ", name)
    print "# NAME"; print name; print ""; print "# DESCRIPTION"
    named = 1
    next
}
/^### / { print "## " substr($0, 5); next }
/^## / { print "# " substr($0, 4); next }
/^\|[-| :]+\|$/ { next }
/^\|/ { table_row($0); next }
{ print }
