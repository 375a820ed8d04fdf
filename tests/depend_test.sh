#!/bin/sh
# Drives GNU make and ninja with -Lgcc output as dependency file: a changed header rebuilds what includes it, no more.
command -v make && command -v ninja || { echo "depend_test: make or ninja is missing"; exit 77; }
cpp=$(realpath "$CPP_PROGRAM") || exit 1; dir=$(mktemp -d); trap 'rm -rf "$dir"' EXIT; cd "$dir" || exit 1
mkdir 'my inc'
printf '#include "one.h"\n#include "my inc/both.h"\n' >a.c
printf '#include "my inc/both.h"\n' >b.c
echo 'int one;' >one.h
echo '#include "deep.h"' >'my inc/both.h'
echo 'int deep;' >'my inc/deep.h'
printf 'all: a.p1 b.p1\n%%.p1: %%.c\n\t@echo $*; "%s" $< $@; "%s" -Lgcc $< $*.d\n-include a.d b.d\n' "$cpp" "$cpp" >Makefile
printf 'rule cpp\n command = echo $stem; "%s" $in $out; "%s" -Lgcc $in $stem.d\n depfile = $stem.d\n' "$cpp" "$cpp" >build.ninja
printf 'build a.p1: cpp a.c\n stem = a\nbuild b.p1: cpp b.c\n stem = b\n' >>build.ninja
# ninja's dependency text names the output first, so a rule of its own writes that name there
sed -i 's|-Lgcc $in $stem.d|& \&\& sed -i "s/^ $stem.d  /  /" $stem.d|' build.ninja
failed=0
for tool in 'make -s' 'ninja --quiet -j1'; do
  rm -f ./*.p1 ./*.d
  find . -name '*.[ch]' -exec touch -d '-2 hours' {} +
  while read -r changed rebuilt; do
    [ "$changed" = - ] || touch "$(echo "$changed" | tr @ ' ')"
    actual=$($tool | grep -x '[ab]' | tr -d '\n')
    find . -name '*.[ch]' -exec touch -d '-2 hours' {} +
    [ "${actual:--}" = "$rebuilt" ] && continue
    failed=1; echo "$tool: behind a change of $changed: rebuilt ${actual:--}, expected $rebuilt"
  done <<END
- ab
- -
one.h a
my@inc/deep.h ab
b.c b
END
done
exit $failed
