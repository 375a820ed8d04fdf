#!/bin/sh
# Writes that fail and standard streams that are closed: a clear line with the reason and status 1, never silence.
cpp=$(realpath "$CPP_PROGRAM") || exit 1; dir=$(mktemp -d); trap 'rm -rf "$dir"' EXIT; cd "$dir" || exit 1
failed=0
# is NAME STATUS PATTERN: the run's status, and a line of its messages (none where the pattern is empty)
is() {
  if [ "$status" -eq "$2" ] && if [ -n "$3" ]; then grep -q -- "$3" err; else ! [ -s err ]; fi; then return; fi
  failed=1; printf '%s: status %s, expected %s, messages with "%s":\n' "$1" "$status" "$2" "$3"; head -n 5 err
}
run() { "$cpp" "$@" >out 2>err; status=$?; }
{ echo '#define A 1'; yes 'int x = A;' | head -n 20000; } >big.c; printf 'x\n' >x.c; printf '#error e\n' >e.c
ln -s /dev/full full; ln -s /dev/full main_r.html; ln -s /dev/full r2.html

"$cpp" big.c >/dev/full 2>err; status=$?; is 'output in blocks' 1 'No space left on device'
"$cpp" x.c >/dev/full 2>err; status=$?; is 'output at the end' 1 'No space left on device'
"$cpp" -dM x.c >/dev/full 2>err; status=$?; is 'macro list' 1 'No space left on device'
"$cpp" --ver >/dev/full 2>err; status=$?; is 'version' 1 'No space left on device'
run x.c full; is 'output file' 1 'output: No space left on device'
run -dM x.c full; is 'macro list in a file' 1 'full.*No space left on device'
run -Llist e.c full; is 'dependency text that is empty' 1 '(103)'
printf '#include "x.c"\n' >i.c; run -Llist i.c full; is 'dependency text' 1 'output: No space left on device'
run --udf=r.html x.c; is 'report' 1 'main_r.html.*No space left on device'
run --udf=r2.html x.c; is 'first file of the report' 1 'r2.html.*No space left on device'
run --qvdebug=adt,out:log x.c; [ "$(grep -c '/preprocessor/' log)" = 0 ] || { failed=1; echo 'a path of the build in the trace'; }
run --qvdebug=on,out:full x.c; is 'debug-out file' 1 'full.*No space left on device'
run -dM big.c -; is 'text that -dM throws away' 0 ''
"$cpp" -Efull e.c >out 2>err; status=$?; is 'alert file' 1 'alerts to file full: No space'
"$cpp" -H -Efull i.c >out 2>err; status=$?; is 'listed names in an alert file' 1 'alerts to file full: No space'
(ulimit -f 8; "$cpp" big.c o.i) >out 2>err; status=$?; is 'a limit on the size of files' 1 'output: File too large'
{ "$cpp" big.c 2>err; echo $? >status; } | head -c 1 >out; status=$(cat status); is 'closed pipe' 1 'Broken pipe'

"$cpp" x.c >&- 2>err; status=$?; is 'no standard output' 1 'Bad file descriptor'
"$cpp" x.c o.i <&- >&- 2>err; status=$?; is 'an output file without standard streams' 0 ''
[ "$(tail -n 1 o.i)" = x ] || { failed=1; echo 'no standard output: the output file is wrong'; }
"$cpp" -H i.c o.i 2>&-; status=$?; : >err; is 'no alert stream, listed names lost' 1 ''
[ "$(grep -c . o.i)" = 3 ] || { failed=1; echo 'no alert stream: something landed in the output file'; }
"$cpp" - <&- >out 2>err; status=$?; is 'no standard input' 1 'Bad file descriptor'

if ! grep -qaE '__(asan|gcov)_' "$cpp"; then  # such programs need more memory to end in order
  awk 'BEGIN { while (i < 199999) print "#define macro_" i++ }' >many.c
  (ulimit -v 12000; "$cpp" -E1 many.c) >out 2>err; status=$?; is 'no memory' 1 '^many.c: [0-9]*: (296) out of memory (error)$'
  cp "$cpp" alone; truncate -s 40M en_msgs.txt  # a catalogue that doesn't fit
  (ulimit -v 12000; ./alone x.c o.i) >out 2>err; status=$?; is 'no memory for the catalogue' 1 '^(296) out of memory$'
fi
exit $failed
