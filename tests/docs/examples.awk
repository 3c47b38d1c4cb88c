# Writes the C++ examples of a page as tests, one for each fenced block: a line whose comment says "gives" compares its
# expression's result as shown, one whose comment (or the line after it) says "raises" its error.
function Quoted(text) { return "R\"~(" text ")~\"" }
function Statement(line) { sub(/;[ ]*$/, "", line); sub(/^ +/, "", line); return line }
function Flush() { if (held != "") print "  " held; held = "" }

BEGIN { print "#include \"tests/docs/examples.h\"\n" }
/^```cpp$/ { inside = 1; print "TEST(" PAGE ", Line" NR ") {\n  [[maybe_unused]] CRegistry registry;"; next }
/^```$/ && inside { Flush(); inside = 0; print "}\n"; next }
!inside { next }
/^\/\/ raises / { shown = $0; sub(/^\/\/ raises /, "", shown); Raises(held, shown); held = ""; next }
/\/\/ raises / { Flush(); at = index($0, "// raises "); Raises(substr($0, 1, at - 1), substr($0, at + 10)); next }
/\/\/ gives / {
  Flush()
  at = index($0, "// gives ")
  print "#line " NR " \"" FILENAME "\""
  print "  EXPECT_EQ(Shown(" Statement(substr($0, 1, at - 1)) "), " Quoted(substr($0, at + 9)) ");"
  next
}
{ Flush(); held = $0 }

function Raises(line, shown) {
  print "#line " NR " \"" FILENAME "\""
  print "  EXPECT_PRED2(Matches, Raised([&] { " Statement(line) "; }), " Quoted(shown) ");"
}
