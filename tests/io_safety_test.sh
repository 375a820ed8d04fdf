#!/bin/sh
# Nothing of the user's is destroyed: lines that would write into what the run reads are refused, and change no file.
cpp=$(realpath "$CPP_PROGRAM") || exit 1; dir=$(mktemp -d); trap 'rm -rf "$dir"' EXIT; mkdir "$dir/w"; cd "$dir/w" || exit 1
failed=0
cpp() { "$cpp" "$@"; }
fail() { failed=1; printf '%s: %s\n' "$1" "$2"; head -n 5 ../err; }
# The folder of each line: ok.c in several spellings, a source that includes it, argument files, a header.
reset() {
  find . -mindepth 1 -delete; mkdir sub
  printf 'int ok;\n' >ok.c; ln ok.c hard.c; ln -s ok.c soft.c; ln -s ../ok.c sub/soft.c; cp ok.c toc_r.html; cp ok.c main_r.html
  printf 'pre\n#include "x.h"\n#include "ok.c"\npost\n' >in.c; : >x.h; printf '#include "sub/soft.c"\n' >deep.c
  printf 'in.c args\n' >args; printf -- '-DX in.c --udf=args2' >args2; printf %s '-Enew ok.c ok.c' >args3; echo args4 >args4; echo in.c >args5
  cp ok.c qv4_package.zip; cp ok.c preprocessor-1.out
}
snapshot() { find . -type f -exec cksum {} + | sort; }

# the file that the refusal names, the two parts that it plays, a command line
while IFS='|' read -r name roles line; do
  reset; snapshot >../before
  eval "$line" >../out 2>../err; status=$?
  [ $status = 1 ] || fail "$line" "status $status"
  [ "$(cat ../err)" = "\"$(eval echo "$name")\" is both $roles" ] || fail "$line" "expected: \"$name\" is both $roles"
  snapshot | diff ../before - || fail "$line" 'files were changed'
done <<'END'
ok.c|the input and the output|cpp ok.c ok.c
./ok.c|the input and the output|cpp -W9 ./ok.c -DX sub/../ok.c -H
ok.c|the input and the output|cpp ok.c hard.c
soft.c|the input and the output|cpp soft.c ok.c
ok.c|the input and the output|cpp ok.c sub/soft.c
ok.c|the input and the output|cpp -dM ok.c ok.c
ok.c|the input and the output|cpp -Lgcc ok.c ok.c
ok.c|the input and the output|cpp ok.c >>ok.c
ok.c|the input and the output|cpp ok.c - >>hard.c
ok.c|the input and the output|cpp -dM ok.c >>ok.c
ok.c|the input and the output|cpp -Llist ok.c >>ok.c
ok.c|the input and the output|cpp ok.c /dev/stdout >>ok.c
ok.c|the input and the output|cpp - ok.c <ok.c
/dev/stdin|the input and the output|cpp /dev/stdin >>ok.c <ok.c
$PWD/ok.c|the input and the output|cpp - <ok.c >>ok.c
ok.c|the input and the output|cpp -Enew --udf=new.html ok.c ok.c
ok.c|the input and the output|cpp ok.c --qvdebug=on,zip,out:new >>ok.c
ok.c|the input and the output|echo ok.c hard.c | cpp
ok.c|the input and the output|cpp @args3
args|the output and the argument file|cpp @args
$PWD/args5|the output and the argument file|cpp <args5 >>args5
args|the output and the argument file|cpp <args
args2|the argument file and the report|cpp @args2
args4|the input and the argument file|cpp @args4
ok.c|the input and the file of messages|cpp -Eok.c ok.c
ok.c|the output and the file of messages|cpp in.c ok.c -e./ok.c
ok.c|the input and the report|cpp --udf=ok.c ok.c
ok.c|the output and the report|cpp -D X ok.c --udf=ok.c
ok.c|a file argument and the report|cpp --UDF=hard.c -I inc -D X ok.c
toc_r.html|the input and the report|cpp --udf=r.html toc_r.html
main_r.html|the output and the report|cpp --udf=sub/../r.html in.c main_r.html
sub/toc_r.html|the output and the report|cpp --udf=sub/r.html in.c sub/toc_r.html
no.c|the input and the report|cpp --udf=sub/../no.c no.c
no.i|the output and the report|cpp --udf=./no.i in.c no.i
no.i|the output and the file of messages|ln -s sub/no sub2; ln -s ../no.i sub/no; cpp -Esub2 -q in.c no.i
ok.c|the input and the report|cpp --udf=ok.c <ok.c -
ok.c|the input and the debug-out file|cpp --qvdebug=out:ok.c ok.c
ok.c|the input and the debug-out file|cpp --qvdebug=adt,out::+hard.c:x ok.c
ok.c|the output and the debug-out file|cpp --qvdebug=out:new,out:soft.c in.c ok.c
preprocessor-1.out|the input and the debug-out file|cpp preprocessor-1.out --qvdebug=alerts
ok.c|the input and the package|cpp ok.c --qvdebug=zip:ok.c
ok.c|the input and the package|cpp --qvdebug=on,ZIP:+ok.c ok.c
qv4_package.zip|the input and the package|cpp --qvdebug=zip qv4_package.zip
ok.c|an include file and the output|cpp in.c >>ok.c
ok.c|an include file and the output|cpp -Llist in.c >>ok.c
ok.c|an include file and the output|cpp -dM -Lgcc in.c >>ok.c
sub/soft.c|an include file and the output|cpp -H -W-9 deep.c - >>ok.c
./ok.c|an include file and the output|cpp -I. '--include=ok.c' - </dev/null >>ok.c
END

# the status and the last line of output of what has to work still
while IFS='|' read -r expected text line; do
  reset
  eval "$line" >../out 2>../err; status=$?
  [ "$status $(tail -n 1 ../out)" = "$expected $text" ] || fail "$line" "status $status, $(tail -n 1 ../out)"
done <<'END'
0|int ok;|cpp ok.c out.i; cat out.i
0|int ok;|cpp ok.c sub/ok.c; cat sub/ok.c
0|int ok;|cp ok.c same.c; cpp ok.c same.c; cat same.c
0|#define I 1|cpp -DI -U__DATE__ -U__TIME__ -U__STDC__ -dM in.c ok.c; cat ok.c
1||cpp - <ok.c >ok.c
1||cpp <ok.c >ok.c
1|(141) can't open output file "": No such file or directory|cpp -Elog "" ""; tail -n 1 log; false
1|(110) too many file arguments; usage: cpp [input [output]]|cpp -Elog ok.c ok.c in.c; tail -n 1 log; false
0|int ok;|cpp -Elog ok.c >>log; cat log
0|int ok;|cpp ok.c --ver ok.c -Eok.c --udf=ok.c >../ver; cat ok.c
0|int ok;|cpp --qvdebug=num:1 preprocessor-1.out
0|int ok;|cpp --qvdebug=num:5,on preprocessor-1.out
0|int ok;|cpp --qvdebug=on,out:x preprocessor-1.out
0|int ok;|cpp --qvdebug=num:1,zip:x,zip:ok.c --qvdebug=zip:ok.c,out:ok.c,on ok.c
0||cpp - </dev/null >/dev/null
0|int ok;|cpp ok.c /dev/null; cat ok.c
0|int ok;|mkfifo p; cpp ok.c p & cat p
0|int ok;|mkfifo p; cat ok.c >p & cpp p
0|int ok;|mkfifo p; cat ok.c >p & cpp - <p /dev/stdout | cat
END

# an include file that is the named output: emptied by then, and nothing of this run comes in
for args in '' -Llist; do
  reset; cpp $args in.c ok.c >../out 2>../err; [ "$? $(cat ../err) $(cat ok.c)" = '1 "ok.c" is both an include file and the output ' ] || fail include "$(cat ok.c)"
done
exit $failed
