# The short way to everything. What a target needs of the system is installed first by tools/setup.
#
#   make build      the program, in build/release/tnk/bin
#   make demo       preprocesses examples/ to the terminal
#   make package    a Debian package, in build/
#   make docs       the manual's table of messages and its HTML form, in docs/
#   make pictures   those of the README, in docs/
#   make check      runs all tests (PRESET=asan, debug: those of another build)
#   make examples   runs the examples only; each checks its own result
#   make lint       format and static analysis
#   make coverage   the tests' coverage, as a table
#   make bench      processor time and memory beside other preprocessors (BENCH='--quick plain real': two runs, of these)
#   make bench-accept  takes today's instruction counts for good; make check compares with them
#   make bench-curves  time and memory of each unit as the input grows
#   make fuzz       random sources through the sanitizer build, with and without the fast road
#   make real       whole code bases through the program and a compiler
#   make clean

PRESET ?= release
PROGRAM = build/$(PRESET)/tnk/bin/cpp
SOURCES = $(wildcard preprocessor/*.cpp common/*.cpp)
HEADERS = $(wildcard preprocessor/*.h common/*.h)

configure = cmake --preset $(1) --log-level=NOTICE
compile = $(call configure,$(1)) && cmake --build --preset $(1) --target $(2)

build:
	@tools/setup build
	$(call compile,$(PRESET),program)

demo: build
	@examples/demo $(PROGRAM)

package: build
	@tools/setup package
	cpack --config build/$(PRESET)/CPackConfig.cmake -B build
	lintian --allow-root --fail-on error build/*.deb

docs:
	@tools/setup docs
	tools/manual

pictures: build
	@tools/setup check
	tools/pictures $(PROGRAM)

.PHONY: package docs pictures

check:
	@tools/setup build check
	@tools/setup examples || echo "the examples that need them are skipped"
	$(call compile,$(PRESET),tests)
	ctest --preset $(PRESET)

examples: build
	@tools/setup examples || echo "the examples that need them are skipped"
	@for run in examples/*/run examples/editors/*/run; do \
	  CPP_PROGRAM=$(PROGRAM) $$run || [ $$? = 77 ] || exit 1; done

lint:
	@tools/setup build check lint
	clang-format --dry-run --Werror $(SOURCES) $(HEADERS) $(wildcard tests/*.cpp tests/unit/*.cpp fuzz/*.cpp)
	$(call compile,debug,program)
	printf '%s\n' $(SOURCES) | xargs -P 2 -n 4 clang-tidy --quiet -p build/debug
	cppcheck --quiet --std=c++17 --language=c++ --enable=warning,portability --inline-suppr --error-exitcode=1 -I . \
	  $(SOURCES)

coverage:
	@tools/setup build check coverage
	$(call compile,coverage,tests)
	find build/coverage -name '*.gcda' -delete
	ctest --preset coverage
	gcovr --root . --filter preprocessor/ --filter common/ build/coverage

bench: build
	@tools/setup bench
	bench/compare $(PROGRAM) $(BENCH)

bench-curves: build
	@tools/setup bench
	bench/curves $(PROGRAM) $(BENCH)

bench-accept: build
	@tools/setup check
	bench/instructions $(PROGRAM) --accept

fuzz:
	@tools/setup build
	$(call compile,asan,program)
	cmake --build --preset asan --target cpp-ordinary
	ASAN_OPTIONS=detect_leaks=0 fuzz/run build/asan/tnk/bin/cpp build/asan/cpp-ordinary 5000

real: build
	@tools/setup real
	tools/real $(PROGRAM)

clean:
	rm -rf build

.PHONY: build demo check examples lint coverage bench bench-accept bench-curves fuzz real clean
