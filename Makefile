# The short way in: `make demo` and `make test` install what is missing, build and run.
.PHONY: all build demo test test-windows windows-zip asan fuzz tidy format clean setup setup-test
export CCACHE_BASEDIR := $(CURDIR)
export CCACHE_NOHASHDIR := 1

all: build

setup:
	@tools/setup.sh build

setup-test:
	@tools/setup.sh test

# The command at build/velmora, the module at build/libvlmfsl.so, the benchmark program at build/bench_screen.
build: setup
	@cmake --preset release
	@cmake --build --preset release

demo: build
	@tools/demo.sh

test: setup-test
	@cmake --preset dev
	@cmake --build --preset dev
	@ctest --preset dev
	@$(MAKE) --no-print-directory test-windows

# The build for 64-bit Windows, its tests under Wine. Compares its results with those of the preset dev.
test-windows: setup-test
	@cmake --preset mingw
	@cmake --build --preset mingw
	@ctest --preset mingw

# build/velmora-VERSION-windows-x64.zip
windows-zip: setup-test
	@cmake --preset mingw
	@cmake --build --preset mingw --target windows-zip

asan: setup-test
	@cmake --preset asan-ubsan
	@cmake --build --preset asan-ubsan
	@ctest --preset asan-ubsan

# A fuzz target per parser, each for FUZZ_SECONDS, two at a time.
FUZZ_SECONDS ?= 30
fuzz: setup-test
	@cmake --preset fuzz
	@cmake --build --preset fuzz
	@tools/fuzz.sh $(FUZZ_SECONDS)

# Needs clang-tidy (Debian: clang-tidy); not part of the tests, since it takes longer than all of them.
tidy: setup-test
	@cmake --preset dev
	@git ls-files '*.cpp' | grep -v '^tests/' | xargs -P 2 -n 4 clang-tidy -p build/dev --quiet --extra-arg=-Wno-unknown-warning-option

format:
	@git ls-files '*.h' '*.cpp' | xargs clang-format -i

clean:
	rm -rf build
