# Copies README.md for the manual's front page, changed only where Doxygen
# reads Markdown differently from GitHub:
#   - every heading gets the anchor GitHub gives it ("## Error codes" becomes
#     "## Error codes {#error-codes}"), so links such as (#error-codes) resolve;
#   - a link to a file of the repository, which is not part of the manual,
#     becomes its text followed by the path: "[its README](src/x/README.md)"
#     becomes "its README (`src/x/README.md`)";
#   - "}::name" (a cast after a placeholder, "{n}::bigint") becomes
#     "}::%name": Doxygen takes the name for a link to resolve otherwise, and
#     the '%' that stops it is not shown.
#   - a code span holding a single quote gets double backticks: Doxygen reads
#     "`x'" as a quotation opened by a backtick and closed by the quote.
# Fenced code blocks are copied unchanged.
/^[ \t]*```/ {
  fenced = !fenced
  print
  next
}
fenced {
  print
  next
}
/^#+ / {
  title = $0
  sub(/^#+ /, "", title)
  slug = tolower(title)
  gsub(/[^a-z0-9 _-]/, "", slug)
  gsub(/ /, "-", slug)
  print $0 " {#" slug "}"
  next
}
{
  line = $0
  gsub(/}::/, "}::%", line)
  out = ""
  while (match(line, /\[[^]]*\]\([^)#][^)]*\)/)) {
    link = substr(line, RSTART, RLENGTH)
    text = link
    sub(/\]\(.*$/, "", text)
    sub(/^\[/, "", text)
    target = link
    sub(/^\[[^]]*\]\(/, "", target)
    sub(/\)$/, "", target)
    if (target ~ /^[a-z]+:/) {
      out = out substr(line, 1, RSTART + RLENGTH - 1)
    } else {
      out = out substr(line, 1, RSTART - 1) text " (`" target "`)"
    }
    line = substr(line, RSTART + RLENGTH)
  }
  print quote_spans(out line)
}

# The line with every `span` that holds a single quote written ``span``.
function quote_spans(line, result, span) {
  result = ""
  while (match(line, /`[^`]+`/)) {
    span = substr(line, RSTART, RLENGTH)
    if (index(span, "'") > 0) {
      span = "`" span "`"
    }
    result = result substr(line, 1, RSTART - 1) span
    line = substr(line, RSTART + RLENGTH)
  }
  return result line
}
