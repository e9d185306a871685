# The commands for people; the build itself is CMake's (see CMakePresets.json).

PRESET ?= release
PREFIX ?= /usr/local
JOBS ?= $(shell nproc)

.PHONY: build run test test-sanitized bench fuzz format lint docs install deb test-deb clean

build:
	@scripts/install-dependencies
	@cmake --preset $(PRESET) $(CMAKE_OPTIONS) >/dev/null
	@cmake --build --preset $(PRESET) -j $(JOBS) $(if $(TARGETS),--target $(TARGETS))

# make run                         captures the project's own sample site
# make run URL=https://example.org [UUID=...]
run: TARGETS = helper tessaro-record loopback-site
run: build
	@scripts/run "$(CURDIR)/build/$(PRESET)" "$(URL)" "$(UUID)"

# Everything: the tests of the release build, those that need no engine once more under the sanitizers, and every fuzz
# target for a moment.
test: build
	@ctest --test-dir build/$(PRESET) --output-on-failure -j $(JOBS)
	@$(MAKE) --no-print-directory test-sanitized
	@$(MAKE) --no-print-directory fuzz SECONDS_EACH=2

# What needs no engine, under AddressSanitizer and UndefinedBehaviorSanitizer.
test-sanitized:
	@$(MAKE) --no-print-directory build PRESET=asan-ubsan TARGETS=tests-without-engine
	@ctest --test-dir build/asan-ubsan --output-on-failure -j $(JOBS) -L 'unit|system'

bench:
	@$(MAKE) build CMAKE_OPTIONS=-DTESSARO_BENCHMARKS=ON
	@scripts/bench "$(CURDIR)/build/$(PRESET)"

fuzz:
	@$(MAKE) --no-print-directory build PRESET=fuzz TARGETS=fuzz-targets
	@scripts/fuzz build/fuzz $(or $(SECONDS_EACH),60) $(JOBS)

format:
	@scripts/install-dependencies clang-format
	@git ls-files '*.cpp' '*.h' | xargs clang-format -i

lint:
	@scripts/install-dependencies clang-format clang-tidy
	@git ls-files '*.cpp' '*.h' | xargs clang-format --dry-run --Werror
	@cmake --preset lint >/dev/null
	@git ls-files '*.cpp' | grep -v '^Fuzz/' | xargs -P $(JOBS) -n 4 clang-tidy -p build/lint --quiet --extra-arg=-Wno-unknown-warning-option

# The reference of the library's headers.
docs:
	@scripts/install-dependencies
	@cmake --preset $(PRESET) >/dev/null
	@doxygen build/$(PRESET)/Doxyfile && echo build/$(PRESET)/reference/html/index.html

install: CMAKE_OPTIONS = -DCMAKE_INSTALL_PREFIX=$(PREFIX)
install: build
	@cmake --install build/$(PRESET)

# Debian packages in build/release/packages; `make test-deb` tries them in a fresh root (root and the network needed).
deb: CMAKE_OPTIONS = -DCMAKE_INSTALL_PREFIX=/usr
deb: build
	@cd build/$(PRESET) && cpack -G DEB >/dev/null && ls packages/*.deb

test-deb: deb
	@packaging/test-packages build/$(PRESET)/packages

clean:
	@rm -rf build
