#!/bin/sh
# What the program asks of the system: the order of calls where it counts, calls that are made to fail, and their number.
cpp=$(realpath "$CPP_PROGRAM") || exit 1; dir=$(mktemp -d); trap 'rm -rf "$dir"' EXIT; cd "$dir" || exit 1
command -v strace >/dev/null || { echo 'strace is missing'; exit 77; }
strace -o calls true || { echo 'strace may not trace here'; exit 77; }
failed=0
is() { [ "$2" = "$3" ] || { failed=1; printf '%s: expected\n%s\nactual\n%s\n' "$1" "$2" "$3"; }; }
# The catalogue lies beside the program, unless a line says otherwise.
mkdir bin dat; cp "$cpp" bin/cpp; cp "$(dirname "$cpp")/../dat/en_msgs.txt" dat; cp "$cpp" alone
echo x >x.c; echo old >o.i

# a temporary catalogue has no name by the time that it is written; nothing stands between the two calls
strace -o calls ./alone x.c >out 2>err
is 'temporary catalogue' 'openat unlink write' "$(grep -A 2 '/tmp/qv.*O_CREAT' calls | sed 's/(.*//' | tr '\n' ' ' | sed 's/ $//')"
exit $failed
