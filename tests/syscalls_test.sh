#!/bin/sh
# What the program asks of the system: the order of calls where it counts, calls that are made to fail, and their number.
cpp=$(realpath "$CPP_PROGRAM") || exit 1; dir=$(mktemp -d); trap 'rm -rf "$dir"' EXIT; cd "$dir" || exit 1
command -v strace >/dev/null || { echo 'strace is missing'; exit 77; }
strace -o calls true || { echo 'strace may not trace here'; exit 77; }
failed=0
is() { [ "$2" = "$3" ] || { failed=1; printf '%s: expected\n%s\nactual\n%s\n' "$1" "$2" "$3"; }; }
# The catalogue lies beside the program, unless a line says otherwise.
mkdir bin dat; cp "$cpp" bin/cpp; cp "$(dirname "$cpp")/../dat/en_msgs.txt" dat; cp "$cpp" alone
echo x >x.c; echo 'x.c o.i' >args

# a temporary catalogue has no name by the time that it is written; nothing stands between the two calls
strace -o calls ./alone x.c >out 2>err
is 'temporary catalogue' 'openat unlink write' "$(grep -A 2 '/tmp/qv.*O_CREAT' calls | sed 's/(.*//' | tr '\n' ' ' | sed 's/ $//')"

# call that fails and at which time, arguments, what the run says, its status, what is in o.i then
while IFS='|' read -r fails args says status left; do
  echo old >o.i
  strace -o calls -e trace="${fails%%:*}" -e inject="$fails" bin/cpp $args >out 2>err; got=$?
  is "$fails in cpp $args" "$says $status $left" "$(head -n 1 err) $got $(tail -n 1 o.i)"
done <<'END'
/^dup[23]$:error=EBUSY:when=1|-Elog -q x.c o.i|Could not open file log|1|x
/^dup[23]$:error=EBUSY:when=1|x.c o.i|(141) can't open output file "o.i": Device or resource busy|1|old
/^dup[23]$:error=EBUSY:when=1|@args|(141) can't open command file "args": Device or resource busy|1|old
ftruncate:error=EIO|x.c o.i|(141) can't open output file "o.i": Input/output error|1|old
END

# what opening, telling apart, reading and writing a source, a header and an output costs
printf '#include "x.c"\n' >i.c; echo old >o.i
strace -o calls -e 'trace=openat,/stat,dup2,ftruncate,read,write,close' bin/cpp i.c o.i
is 'calls for three files' 'openat dup2 close openat stat stat truncate read openat stat read close close write close' \
  "$(sed -n '/"o.i"/,/^+/s/^\(new\)\{0,1\}f\{0,1\}\([a-z0-9]*\)[(].*/\2/p' calls | sed 's/^statat/stat/' | tr '\n' ' ' | sed 's/ $//')"

# a header that includes itself ends at the limit of open files, whether what it holds is kept or too long for that
for limit in 30 60 120; do
  for lines in 1 20000; do
    { echo x; yes '' | head -n $lines; echo '#include "r.h"'; } >r.h; echo '#include "r.h"' >in.c
    (ulimit -n $limit; exec "$cpp" in.c) 2>err | grep -c x >depth$lines
    grep -q 'Too many open files' err || { failed=1; echo "$limit open files: no message"; }
  done
  is "depth of includes within $limit open files" "$(cat depth20000)" "$(cat depth1)"
done

# a header that goes, is cut or is replaced between two includes may be seen as it was; reading ends in order
mkfifo fifo; printf '#include "h.h"\n#include "fifo"\n#include "h.h"\nend\n' >in.c
for change in 'rm h.h' ': >h.h' 'echo new >n; mv n h.h' 'echo appended >>h.h'; do
  echo old >h.h; "$cpp" in.c >out 2>&1 & { eval "$change"; echo between; } >fifo; wait $!
  is "$change: status" 0 $?; is "$change" 'old between old end' "$(grep '^[a-z]' out | tr '\n' ' ' | sed 's/ $//')"
done

# a guarded header costs nothing from its third include on, a name found once no search
mkdir sub; printf '#ifndef G\n#define G\n#endif\n' >sub/g.h; for i in 1 2 3 4 5; do echo '#include "g.h"'; done >in.c
strace -o calls -e trace=openat,read bin/cpp -Inone -Isub in.c >out
is 'calls for five includes' 'in.c read g.h none/g.h sub/g.h read' "$(sed -n '/"in.c"/,$p' calls | sed 's/read.*/read/; s/[^"]*"\([^"]*\).*/\1/' | grep -v '^+' | tr '\n' ' ' | sed 's/ $//')"
exit $failed
