#!/usr/bin/env bash
# scripts/count-tests adds up what ctest and GoogleTest report, and misses neither a failure nor a skip.
set -euo pipefail
count=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/results"

cat >"$work/ctest.xml" <<'XML'
<?xml version="1.0" encoding="UTF-8"?>
<testsuite name="x">
	<testcase name="unit" classname="unit" time="0.1" status="run"/>
	<testcase name="plain" classname="plain" time="0.1" status="run"/>
	<testcase name="table.a.tsv" classname="table.a.tsv" time="0.1" status="fail">
	<testcase name="broken" classname="broken" time="0.1" status="fail">
	<testcase name="crashed" classname="crashed" time="0.1" status="fail">
</testsuite>
XML
cat >"$work/results/unit.xml" <<'XML'
<testsuites tests="4" failures="0" disabled="1" errors="0">
  <testsuite name="A" tests="4">
    <testcase name="One" file="a.cpp" line="1" status="run" result="completed" time="0." classname="A" />
    <testcase name="Two" file="a.cpp" line="2" status="run" result="skipped" time="0." classname="A">
      <skipped message="no such user"/>
    </testcase>
    <testcase name="Three" file="a.cpp" line="3" status="run" result="completed" time="0." classname="A" />
    <testcase name="Off" file="a.cpp" line="4" status="notrun" result="suppressed" time="0." classname="A" />
  </testsuite>
</testsuites>
XML
cat >"$work/results/table.a.tsv.xml" <<'XML'
<testsuites tests="2" failures="1" disabled="0" errors="0">
    <testcase name="Good" status="run" result="completed" classname="Table" />
    <testcase name="Bad" status="run" result="completed" classname="Table">
      <failure message="row 3" type=""><![CDATA[row 3]]></failure>
      <failure message="row 4" type=""><![CDATA[row 4]]></failure>
    </testcase>
</testsuites>
XML
cat >"$work/results/crashed.xml" <<'XML'
<testsuites tests="1" failures="0" disabled="0" errors="0">
    <testcase name="Fine" status="run" result="completed" classname="B" />
</testsuites>
XML

got=$("$count" "$work")
want='5 3
skipped unit: A.Two
failed table.a.tsv: Table.Bad
failed broken (fail)
failed crashed (fail)'
if [ "$got" != "$want" ]; then
  printf 'wanted:\n%s\ngot:\n%s\n' "$want" "$got" >&2
  exit 1
fi
if "$count" "$work/results" 2>/dev/null; then
  echo 'accepted a folder without a report' >&2
  exit 1
fi
echo 'count-tests: all counted'
