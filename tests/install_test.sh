#!/bin/sh
# The program in other places of an installation tree: where it finds its catalogue, and what a catalogue can change.
cpp=$(realpath "$CPP_PROGRAM") || exit 1; dir=$(mktemp -d); trap 'rm -rf "$dir"' EXIT; cd "$dir" || exit 1
failed=0
is() { [ "$2" = "$3" ] || { failed=1; printf '%s: expected\n%s\nactual\n%s\n' "$1" "$2" "$3"; }; }
row() { mkdir -p "$1" && printf '107\t0\t%s %%s\n' "$2" >"$1/en_msgs.txt"; }
put() { mkdir -p "$1" && cp "$cpp" "$1/cpp"; }
says() { "$@" -E1 b.c 2>&1 >out; }
echo '#bogus' >b.c; echo '#error e' >e.c; printf '#include <s.h>\n#include <p.h>\n#include <no.h>\n' >f.c; : >s.h
own='b.c: 1: (107) illegal # directive "bogus" (warning)'

# folder of the program, folders of two catalogues, which of them it reads ("own": the one inside the program)
while read -r place first second expected; do
  rm -rf v; put "v/$place"
  [ "$first" = - ] || row "v/$first" first
  [ "$second" = - ] || row "v/$second" second
  is "program in $place, catalogues in $first and $second" \
    "$([ "$expected" = own ] && echo "$own" || echo "b.c: 1: (107) $expected bogus (warning)")" "$(says "v/$place/cpp")"
done <<END
tnk/bin tnk/dat - first
TNK/BIN tnk/dat TNK/dat first
bin tnk/dat dat first
bin - dat second
tnk-as/bin tnk/dat tnk-as/dat first
tnk.old/bin tnk/dat tnk.old/dat first
tnk.old/bin - tnk.old/dat second
tnk/x/y tnk/dat tnk/x/dat second
bin.x tnk/dat - own
tnk/bin dat - own
END
rm -rf v; put v/tnk/bin; row v/tnk/dat first; ln -s v/tnk/bin/cpp link; is 'by a link' 'b.c: 1: (107) first bogus (warning)' "$(says ./link)"
put x; row . here; is 'current folder' 'b.c: 1: (107) here bogus (warning)' "$(says x/cpp)"; rm en_msgs.txt
echo '__DATE__ __TIME__' >t.c; is 'time' 1 "$("$cpp" t.c | grep -cE '^"[A-Z][a-z]{2} [ 123][0-9] [0-9]{4}" "[0-2][0-9]:[0-5][0-9]:[0-5][0-9]"$')"
mkdir tmp; for args in b.c f.c '-dM b.c o' --ver -L '--emax=0 -q'; do TMPDIR=$dir/tmp x/cpp $args >out 2>err; done
is 'temporary copies' '' "$(ls tmp; find /tmp -maxdepth 1 -name 'qvX??????' -newer b.c -user "$(id -un)")"

# a fatal error that a catalogue makes a warning: the run goes on behind a full area, which is reported once
awk 'BEGIN { print "#define F(x) x #x"; printf "F("; while (i++ < 400) { for (j = 0; j < 100; j++) printf "yy "; print "" } print ")\nz" }' >big.c
printf '149\t0\tarea full\n153\t0\ttext full\n' >v/tnk/dat/en_msgs.txt
is 'a reclassed fatal error' 'area full text full z' "$(v/tnk/bin/cpp -E1 big.c 2>&1 >out | sed -E 's/.*\) (.*) \(warning\)/\1/' | tr '\n' ' ')$(tail -n 1 out)"

# text of a catalogue's row, the message that it makes of number 107, the run's status with -W!
while IFS='|' read -r text expected status; do
  printf '%b' "$text" >v/tnk/dat/en_msgs.txt
  is "row $text" "$expected $status" "$(v/tnk/bin/cpp -E1 -W! b.c 2>&1 >out | tail -n 1) $(v/tnk/bin/cpp -W! b.c >out 2>err; echo $?)"
done <<'END'
107\tf\tF %s|b.c: 1: (107) F bogus (error)|1
107 m  M %s|b.c: 1:  M bogus|0
107 Error text %s|b.c: 1: (107) text bogus (error)|1
107 -20 t||0
107 9 t|b.c: 1: (107) t (warning)|1
107 0 one\n107 E two\n107 E\n|b.c: 1: (107) two (error)|1
107 X odd %s|b.c: 1: (107) odd bogus (warning)|0
1 E x|b.c: 1: (107) An error, warning or message was generated, but no description is available (error)|1
END
printf '107 0 %%n%%s%%d\n' >m.txt; is 'no row in the first catalogue' 1 "$(says v/tnk/bin/cpp --edf=m.txt | grep -c 'no description')"

# a fatal number that is only a warning returns to the run, which goes on in an orderly way
sed 's/\tF\t/\t0\t/' "$(dirname "$cpp")/../dat/en_msgs.txt" >v/tnk/dat/en_msgs.txt
{ echo '#include "no.h"'; yes '#if 1' | head -n 40; yes '#endif' | head -n 31; printf '#define F('; seq -s, 0 40 | sed 's/[0-9]*/a&/g; s/$/) a1/'
  printf 'F('; seq -s, 0 40; echo ')'; for name in G H; do printf '#define %s ' $name; yes 'y\' | head -n 33000; echo; done
  printf '#define I(x) x\nI('; yes yyyyyyy | head -n 10000; printf ')\n#include "%02000d"\nG\nend\n' 0; } >many.c
is 'reclassed fatal numbers' 0 "$(timeout 20 v/tnk/bin/cpp $(yes -- -Ia | head -n 300) many.c >out 2>err; echo $?)"
is 'the run behind them' end "$(tail -n 1 out)"

# headers of the tool's own tree are left out by --dep_nosys; traces of how that tree was found
mkdir -p v/tnk/include v/other; : >v/tnk/include/s.h; : >v/other/p.h; row v/tnk/dat first
"v/tnk/bin/cpp" -Llist --dep_nosys "-I$dir/v/tnk/include" "-I$dir/v/other" --qvdebug=on f.c o 2>err
is '--dep_nosys' " $dir/v/other/p.h" "$(cat o)"
is 'traces' 'ENTER reg_instdir() ENTER qvinstdir() EXIT qvinstdir() EXIT reg_instdir()' "$(grep -oE '(ENTER|EXIT) (reg_instdir|qvinstdir)\(\)?' preprocessor-1.out | tr '\n' ' ' | sed 's/ $//')"
exit $failed
