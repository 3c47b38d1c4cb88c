# Writes what a page and its translation have in common, one line each: the level of every heading, the blocks of code without
# their comments, and, at the end, the links in alphabetical order, as seen from the top of the tree. A link to a page and one to
# its translation are the same.
function Resolved(link,    path) {
  if (link ~ /^([a-z]+:|#)/) return link
  path = folder link
  while (sub(/[^\/]+\/\.\.\//, "", path)) {}
  sub(/^docs\/it\//, "docs/", path)
  sub(/^README\.it\.md/, "README.md", path)
  return path
}
# What a comment begins with, after a blank or at the beginning of a line.
function Comment(language) {
  if (language ~ /^(cpp|c|jscript)$/) return "//"
  if (language == "sh") return "(#|//)"  # programs are typed in some
  if (language ~ /^(cmake|conf|powershell|yaml)$/) return "#"
  if (language ~ /^(vbscript|vba)$/) return "'"
  if (language == "bat") return "rem"
  return ""
}

/^```/ && !inside { inside = 1; comment = Comment(substr($0, 4)); print; next }
/^```/ { inside = 0; print; next }
inside {
  if (comment != "") sub("(^|[ \t]+)" comment " .*", "")
  sub(/[ \t]+$/, "")
  if ($0 != "") print
  next
}
/^#+ / { print "heading of level " length($1) }
{
  line = $0
  while (match(line, /\]\([^)]*\)/)) {
    links[++count] = Resolved(substr(line, RSTART + 2, RLENGTH - 3))
    line = substr(line, RSTART + RLENGTH)
  }
}
END {
  for (i = 1; i <= count; ++i)
    for (j = i; j > 1 && links[j - 1] > links[j]; --j) { link = links[j]; links[j] = links[j - 1]; links[j - 1] = link }
  for (i = 1; i <= count; ++i) print "link to " links[i]
}
