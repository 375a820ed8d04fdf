#!/bin/sh
# qv4-report from a shell: found by a link, all that it leaves behind, arguments from a file, faults.
#
# usage: tests/report_test.sh [program]      default: $CPP_PROGRAM
set -eu

program=$(realpath "${1:-${CPP_PROGRAM:?no program named}}")
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
mkdir -p "$scratch/bin" "$scratch/a:b,c" "$scratch/sub"
ln -s "$(dirname "$program")/qv4-report" "$scratch/bin/qv4-report"
cd "$scratch"
unset CPP_PROGRAM
export PATH="$scratch/bin:$PATH" TMPDIR="$scratch/a:b,c"

# One row holds all of a call; the command line stands as it was given; only the page is new.
printf '#define TWO(a, b) b;a\n#include "x.h"\n#undef TWO\n' >in.c
printf 'TWO(<b>, "&\377") TWO(1)\n' >sub/x.h
printf '%s\n' "-Isub '-DQ=it''s <i>'" '-Eerr.log -lgcc' '--UDF=u.html --qvdebug=on,zip -W-1' 'in.c out.i' >args
ls >before
qv4-report @args page.html 2>messages
ls >after
printf 'after\nmessages\npage.html\n' | sort - before | uniq >expected
diff -u expected after
grep -A1 '>TWO(&lt;b&gt;, &quot;&amp;\\xff&quot;)<.*>1: &lt;b&gt;$' page.html |
  grep -q '^2: &quot;&amp;\\xff&quot;<.*>&quot;&amp;\\xff&quot;;&lt;b&gt;<.*>sub/x.h<.*>1<'
grep -q '^<pre id="command">qv4-cpp -Isub &#x27;-DQ=its &lt;i&gt;&#x27; -Eerr.log -lgcc .* in.c</pre>' page.html
grep -q '>TWO<.*>2<.*>&lt;1&gt;;&lt;0&gt;<.*>2<.*>removed<' page.html
grep -q '(171)' messages
grep -q 'wrong number.*&quot;TWO&quot;' page.html
test -z "$(ls -A "$TMPDIR")" -a -z "$(grep -i 'src=\|href=\|http:\|https:' page.html)"

# Faults: the program's status and what is known so far; names that look like a mistake; no page without a program.
status=0; printf '#define A 1\nA\n#include "no.h"\n' | qv4-report - >fatal.html 2>messages || status=$?
test "$status" = 1
grep -q '>#include &quot;no.h&quot;<.*>3<' fatal.html
refused() {
  if "$@" >out 2>messages || test -s out; then exit 1; fi
  grep -q '^qv4-report: ' messages
}
echo '#include "sub/x.html"' >own.c; : >sub/x.html
for words in 'own.c sub/x.html' 'in.c in.i' '' 'a b c' '@none' 'in.c nodir/x.html'; do
  # shellcheck disable=SC2086 # one word for each
  refused qv4-report $words
done
CPP_PROGRAM=/none refused qv4-report in.c
