#!/bin/sh
# The same input gives the same text and messages at another time, in another folder and in another environment; what may
# differ is __DATE__, __TIME__, the form of messages by three variables, and a catalogue beside a lone program.
cpp=$(realpath "$CPP_PROGRAM") || exit 1; dir=$(mktemp -d); trap 'rm -rf "$dir"' EXIT; cd "$dir" || exit 1
failed=0; fail() { failed=1; echo "$1"; }
mkdir -p one 'an other/x' alone
printf '#define E(x) #x\n#include <s.h>\n__FILE__ __LINE__ E(\303\251)\n#bad\nE(1,2)\n#if 1\n' >one/in.c
printf '#include <time.h>\n#include "in.c"\n' >one/inc.h; : >one/time.h
echo 'int s; __FILE__' >one/s.h; echo '__DATE__ __TIME__' >one/now.c; echo '#bad' >one/bad.c
cp -R one/. 'an other/x'; find 'an other' -exec touch -d '2001-02-03 04:05' {} +
here() { (cd one && env -i ASAN_OPTIONS="$ASAN_OPTIONS" TZ=XXX11 "$cpp" "$@" 2>&1); }
there() {
  (cd 'an other/x' && umask 77 && env -i ASAN_OPTIONS="$ASAN_OPTIONS" TZ=XXX-12 LANG=tr_TR.UTF-8 LC_ALL=C.UTF-8 HOME=/nowhere \
    USER=x PATH=/nowhere TERM=vt100 COLUMNS=20 SOURCE_DATE_EPOCH=1 TMPDIR=. CPATH=/usr/include C_INCLUDE_PATH=/usr/include \
    CPP=x DEPENDENCIES_OUTPUT=d POSIXLY_CORRECT=1 MALLOC_PERTURB_=165 LKS_ERR_FORMAT=x LKS_WARN_FORMAT=y LKS_MSG_FORMAT=z \
    "$cpp" "$@" >out 2>&1; cat out)
}
while read -r arguments; do
  here $arguments >a; there $arguments >b; [ -s a ] && cmp a b || fail "cpp $arguments: another result"
done <<END
-I. in.c
-I. -C -H -V -W-9 -N99 inc.h
-I. -dM -U__DATE__ -U__TIME__ in.c
-I. -Llist inc.h
-q -W! bad.c no/where
END
[ "$(here now.c)" != "$(there now.c)" ] || fail 'both runs are at the same time'
[ "$(here now.c | sed 3d)" = "$(there now.c | sed 3d)" ] || fail 'more than the line with the time differs'
[ "$(here -E1 bad.c)" != "$(there -E1 bad.c)" ] || fail 'the form of messages is not that of the variables'

printf '107\t0\treworded %%s\n' >alone/en_msgs.txt; cp one/bad.c alone; cp "$cpp" alone/lone
[ "$(cd alone && "$cpp" bad.c 2>&1)" = "$(here bad.c)" ] || fail 'an installed program reads the catalogue of the folder'
(cd alone && ./lone bad.c 2>&1) | grep -q 'reworded bad' || fail 'a lone program does not read the catalogue beside it'
exit $failed
