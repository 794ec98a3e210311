# Doxygen's filter of the guides: gives headings the anchors that other readers of Markdown make of them, and the links
# to them, with the page's name in front because anchors count for all pages together.
BEGIN { page = ARGV[1]; gsub(/.*\/|\.md$/, "", page) }
/^```/ { code = !code }
!code && /^##+ / {
    anchor = tolower($0)
    sub(/^#+ /, "", anchor)
    gsub(/[^a-z0-9 -]/, "", anchor)
    gsub(/ /, "-", anchor)
    $0 = $0 " {#" page "-" anchor "}"
}
!code { gsub(/\]\(#/, "](#" page "-") }
{ print }
