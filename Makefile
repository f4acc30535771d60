# The short way in: `make demo` and `make test` install what is missing, build and run.
.PHONY: all build demo bench bench-peers bench-goals test test-spark test-windows windows-zip wheel package asan tsan clang fuzz tidy format clean setup setup-test
export CCACHE_BASEDIR := $(CURDIR)
export CCACHE_NOHASHDIR := 1
export CCACHE_SLOPPINESS := pch_defines,time_macros

all: build

setup:
	@tools/setup.sh build

setup-test:
	@tools/setup.sh test

# The command at build/velmora and the module at build/libvlmfsl.so.
build: setup
	@cmake --preset release
	@cmake --build --preset release

demo: build
	@tools/demo.sh

# The benchmark programs in build/, which docs/benchmarks.md describes.
bench: build
	@cmake --build --preset release --target bench_screen machine_limits text_limit

# Ratios of one run: columns and cases, sizes, threads, and NumPy and scikit-learn where PYTHON has them.
PYTHON ?= python3
bench-peers: bench
	@$(PYTHON) bench/compare.py build/bench_screen

# Every goal of speed, reached or missed. PYTHON needs what bench/goals.py names.
bench-goals: bench
	@$(PYTHON) bench/goals.py build

test: setup-test
	@cmake --preset dev
	@cmake --build --preset dev
	@ctest --preset dev
	@$(MAKE) --no-print-directory test-windows

# Spark 3.5 and 4 with executors of their own: some are killed, some parts are empty. Minutes, beside the short form in
# `test`.
test-spark: setup-test
	@cmake --preset dev
	@cmake --build --preset dev --target velmora_shared
	@tools/test_spark.sh

# The build for 64-bit Windows, its tests under Wine. Compares its results with those of the preset dev.
test-windows: setup-test
	@cmake --preset mingw
	@cmake --build --preset mingw
	@ctest --preset mingw

# build/velmora-VERSION-windows-x64.zip
windows-zip: setup-test
	@cmake --preset mingw
	@cmake --build --preset mingw --target windows-zip

# dist/velmora-VERSION-py3-none-manylinux*.whl, with the libraries that it needs.
wheel: setup-test
	@rm -rf build/wheel && mkdir -p dist
	@build/venv/bin/pip wheel --quiet --no-build-isolation --no-deps --wheel-dir build/wheel \
	  --config-settings=build-dir=$(CURDIR)/build/wheel-objects ./python
	@PATH="$(CURDIR)/build/venv/bin:$$PATH" build/venv/bin/auditwheel --verbose repair --wheel-dir dist build/wheel/velmora-*.whl

# dist/velmora_VERSION_ARCHITECTURE.deb
package: build
	@cd build/release && cpack

asan: setup-test
	@cmake --preset asan-ubsan
	@cmake --build --preset asan-ubsan
	@ctest --preset asan-ubsan

# The thread sanitizer over what runs on several threads.
tsan: setup-test
	@cmake --preset tsan
	@cmake --build --preset tsan
	@for area in system ranking feature_selection screening; do build/tsan/tests/test_$$area --gtest_brief=1 || exit 1; done

# A second compiler's warnings; nothing is run.
clang: setup-test
	@cmake --preset clang
	@cmake --build --preset clang

# A fuzz target per parser, each for FUZZ_SECONDS, two at a time.
FUZZ_SECONDS ?= 30
fuzz: setup-test
	@cmake --preset fuzz
	@cmake --build --preset fuzz
	@tools/fuzz.sh $(FUZZ_SECONDS)

# Checks every source file that has changed since the last release. TIDY_BASE=COMMIT names another beginning.
TIDY_BASE ?= $(shell git describe --tags --abbrev=0 --match 'v*' 2>/dev/null || \
               sed -n 's/^Released at commit \([0-9a-f]*\)\.$$/\1/p' CHANGELOG.md | head -n 1)
tidy: setup-test
	@cmake --preset dev
	@git diff --name-only --diff-filter=d $(TIDY_BASE) -- 'base/*.cpp' 'contract/*.cpp' 'module/*.cpp' 'workbench/*.cpp' \
	  | grep -v '_windows\.cpp$$\|_absent\.cpp$$\|/windows/\|/com/' \
	  | xargs -r -P 2 -n 4 clang-tidy -p build/dev --quiet --extra-arg=-Wno-unknown-warning-option

format:
	@git ls-files '*.h' '*.cpp' | xargs clang-format -i

clean:
	rm -rf build
