# The short way in: `make demo` and `make test` install what is missing, build and run.
.PHONY: all build demo test asan bench tidy format clean setup setup-test
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

asan: setup-test
	@cmake --preset asan-ubsan
	@cmake --build --preset asan-ubsan
	@ctest --preset asan-ubsan

format:
	@git ls-files '*.h' '*.cpp' | xargs clang-format -i

clean:
	rm -rf build
