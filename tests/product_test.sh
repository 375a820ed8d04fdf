#!/bin/sh
# The installed product: the layout, a copy in another place, the Debian package from its making to its removal.
build=$(realpath "$(dirname "$CPP_PROGRAM")/../..") && root=$(realpath "$(dirname "$0")/..") || exit 1
dir=$(mktemp -d); trap 'rm -rf "$dir"' EXIT; cd "$dir" || exit 1; failed=0
is() { [ "$2" = "$3" ] || { failed=1; printf '%s: expected\n%s\nactual\n%s\n' "$1" "$2" "$3"; }; }
echo '#bogus' >b.c; own='b.c: 1: (107) illegal # directive "bogus" (warning)'
says() { "$@" -E1 b.c 2>&1 >out; }

cmake --install "$build" --prefix "$dir/p" >log || { cat log; exit 1; }
is 'links' '../lib/qv4/tnk/bin/cpp' "$(readlink p/bin/qv4-cpp)"
is 'commands' '' "$(for link in p/bin/*; do [ -x "$link" ] && [ -f "p/share/man/man1/${link##*/}.1.gz" ] || echo "$link"; done)"
is 'by the link' "$own" "$(says p/bin/qv4-cpp)"
is 'names of the system' '' "$(find p \( -type f -o -type l \) -printf '%P\n' | grep -vE '^(lib/qv4|share/doc/qv4-cpp)/|qv4-|LICENSE')"
is 'an installed example' '' "$(CPP_PROGRAM='' PATH=$dir/p/bin:$PATH p/share/doc/qv4-cpp/examples/make/run 2>&1 | grep -v 'headers$\|skipped')"
printf '107\t0\twhere it is %%s\n' >p/lib/qv4/tnk/dat/en_msgs.txt; cp -a p elsewhere; rm -rf p
is 'a copy in another place' 'b.c: 1: (107) where it is bogus (warning)' "$(says elsewhere/bin/qv4-cpp)"
is 'version' "$(sed -n 's/^project(.* VERSION \([0-9.]*\) .*/\1/p' "$root/CMakeLists.txt")" \
  "$("$CPP_PROGRAM" --ver | sed -n 's/^Version:\t\(.*\) $/\1/p')"

grep -q '^CPP_STATIC:BOOL=ON' "$build/CMakeCache.txt" || exit $failed  # the package is made of what is shipped
command -v dpkg-deb >out && command -v cpack >out || { echo 'skipped in part: no dpkg or cpack on this machine'; exit $failed; }
cpack --config "$build/CPackConfig.cmake" -B pkg >log 2>&1 || { cat log; exit 1; }
dpkg-deb -x pkg/*.deb x; is 'stripped' '' "$(readelf -S x/usr/lib/qv4/tnk/bin/cpp | grep symtab)"
if command -v lintian >out; then is 'lintian' '' "$(lintian --allow-root --fail-on none pkg/*.deb | grep '^E:')"
else echo 'skipped in part: no lintian on this machine'; fi
mkdir -p r/var/lib/dpkg/info r/var/lib/dpkg/updates; : >r/var/lib/dpkg/status; find r | sort >before
deb() {
  PATH=$PATH:/usr/sbin:/sbin dpkg --root="$dir/r" --force-not-root --force-depends --log="$dir/dpkg.log" "$@" >log 2>&1 ||
    { failed=1; cat log; }
}
deb -i pkg/*.deb
is 'demo from the package' "$(cd "$root/examples/blinky" && "$CPP_PROGRAM" -Iboard -Ilib -DBOARD=2 -DTRACE=1 main.c)" \
  "$(cd r/usr/share/doc/qv4-cpp/examples/blinky && "$dir/r/usr/bin/qv4-cpp" -Iboard -Ilib -DBOARD=2 -DTRACE=1 main.c)"
is 'from the package' "$own" "$(says r/usr/bin/qv4-cpp)"
printf '107\t0\tedited %%s\n' >r/usr/lib/qv4/tnk/dat/en_msgs.txt; printf '107\t0\tlasting %%s\n' >own.txt
is 'an edited catalogue' 'b.c: 1: (107) edited bogus (warning)' "$(says r/usr/bin/qv4-cpp)"
deb -i pkg/*.deb; is 'an upgrade replaces it' "$own" "$(says r/usr/bin/qv4-cpp)"
is '--edf lasts' 'b.c: 1: (107) lasting bogus (warning)' "$(says r/usr/bin/qv4-cpp --edf=own.txt)"
deb -P qv4-cpp; is 'left behind' '' "$(find r | sort | comm -13 before - | grep -v '^r/var/lib/dpkg')"
exit $failed
