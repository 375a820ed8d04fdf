#!/bin/sh
# The diagnostic package, read back by two other programs, and what may not be written.
command -v unzip >&2 && command -v python3 >&2 || { echo "package_test: unzip or python3 is missing"; exit 77; }
cpp=$(realpath "$CPP_PROGRAM") || exit 1; dir=$(mktemp -d); trap 'rm -rf "$dir"' EXIT; cd "$dir" || exit 1
failed=0
is() { [ "$2" = "$3" ] || { failed=1; printf '%s: expected\n%s\nactual\n%s\n' "$1" "$2" "$3"; }; }
names() { python3 -m zipfile -l "$1" | awk 'NR > 1 { printf "%s ", $1 }'; }
echo '#error e' >e.c; echo '#include "no.h"' >f.c; : >a; : >a.h; printf '#include "a"\n#include "a.h"\n' >h.c
run() { "$cpp" "$@" >out 2>err; status=$?; }

run --qvdebug=on,zip:p.zip e.c; is 'first run' 'preprocessor-1.out ' "$(names p.zip)"
run --qvdebug=alerts,num:2,zip:+p.zip f.c
is 'second run, a fatal one' 'preprocessor-1.out preprocessor-2.out ' "$(names p.zip)"
is 'its entry' "$(cat preprocessor-2.out)" "$(unzip -p p.zip preprocessor-2.out)"
is 'its last line' 1 "$(unzip -p p.zip preprocessor-2.out | tail -n 1 | grep -c '^ALERT> .*(141)')"
is 'check by unzip' 'No errors detected in compressed data of p.zip.' "$(unzip -t p.zip | tail -n 1)"
run --qvdebug=on,num:3,zip:p.zip e.c; is 'without +' 'preprocessor-3.out ' "$(names p.zip)"
run --qvdebug=on,zip:v.zip --ver; is 'a run that ends early' 'preprocessor-1.out ' "$(names v.zip)"
run --qvdebug=on,out:log,zip:p.zip e.c; is 'out: turns zip off' absent "$([ -e p.zip ] && echo there || echo absent)"

run --qvdebug=adt,zip:a.zip h.c
is 'container report' 'Hash Living Vector Living Total ' "$(sed -nE 's/^# *(Hash|Living|Vector|Total) .*/\1/p' preprocessor-1.out | tr '\n' ' ')"
is 'a clash' 1 "$(grep -cE '^[a-z].*> HASH @ [^ ]+ \(2/237\) clashed 1 times inserting' preprocessor-1.out)"
is 'figures of the table' 1 "$(grep -c '1/237    2/237    1    n    n    Y' preprocessor-1.out)"
tables=$(sed -n '/^# Hash/,/^# Living/p' preprocessor-1.out | grep -c 0x)
is 'the list of tables' 1 "$(grep -cE "^# 0x[0-9a-f]+ +common/hash.cpp:[0-9]+ +$tables/10 +Y\$" preprocessor-1.out)"
is 'a vector that grew' 1 "$(awk '/^# Vector/ { v = 1 } v && /[0-9]\/[0-9]/ { n++ } END { print (n > 2) }' preprocessor-1.out)"
is 'the packed copy comes ahead of it' 0 "$(unzip -p a.zip preprocessor-1.out | grep -c 'Master List')"

# An archive that may be read but not written: every step behind the reading warns, and it stays.
cp -r "$(dirname "$cpp")/../../tnk" tree; chmod -R a+rX tree; chmod 777 .; cp a.zip r.zip; chmod 444 r.zip; before=$(cksum <r.zip)
other=; [ "$(id -u)" != 0 ] || other='setpriv --reuid=65534 --clear-groups'
$other tree/bin/cpp --qvdebug=on,num:4,zip:+r.zip e.c >out 2>err
is 'archive that may not be written' 'covert add finalize end ' "$(sed -nE 's/^QVDEBUG \(warning\): Unable to (\w+) (package|archive) .*/\1/p' err | tr '\n' ' ')"
is 'it stays' "$before" "$(cksum <r.zip)"
mkdir ro; cp a.zip ro/p.zip; chmod 666 ro/p.zip; ln ro/p.zip place.zip; chmod 555 ro
$other tree/bin/cpp --qvdebug=on,num:5,zip:+ro/p.zip e.c >out 2>err; chmod 755 ro
is 'in a folder that may not be written, in place' 'preprocessor-1.out preprocessor-5.out ' "$(names place.zip)"
rm preprocessor-1.out; ln -s /dev/stderr preprocessor-1.out
is 'a pipe as debug-out file' 1 "$(timeout 20 "$cpp" --qvdebug=on,zip:n.zip e.c 2>&1 >out | grep -c 'Unable to add archive "preprocessor-1.out"')"
is 'then no package and nothing else' '' "$(ls -d n.zip .qv4* 2>/dev/null)"
rm preprocessor-1.out
exit $failed
