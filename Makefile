# Korvat's entry points. Each target installs what is missing first, so a fresh
# Debian machine needs nothing but these commands.
BUILD      ?= build
TEST_BUILD ?= build-test
JOBS       ?= $(shell nproc)
KORVAT     := $(BUILD)/bin/korvat
DEMO_ENV   := KORVAT_ENGINE_DIR=/tmp/korvat-demo-engine KORVAT_ENGINE_EXEC=/tmp/kx-demo

FUZZ_SECONDS ?= 60

# clang compiles Korvat in two thirds of GCC's time at the same optimisation, and the
# sanitized test build in half, with the same precompiled headers.
CXX_COMPILER ?= clang++
CONFIGURE   = cmake -G Ninja -DCMAKE_CXX_COMPILER=$(CXX_COMPILER)
# A build directory configured for another compiler starts afresh: cmake would otherwise
# reconfigure it without the options given with the compiler.
fresh = @grep -qsx 'CMAKE_CXX_COMPILER:.*$(CXX_COMPILER)' $(1)/CMakeCache.txt || rm -rf $(1)/CMakeCache.txt $(1)/CMakeFiles

.PHONY: all setup build run demo demo-stop test bench fuzz coverage coverage-cases coverage-build shots package clean

all: build

setup:
	@bash scripts/setup.sh

# Line tables only: enough for a backtrace, at a smaller cost than full debug information.
build: setup
	$(call fresh,$(BUILD))
	$(CONFIGURE) -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo "-DCMAKE_CXX_FLAGS_RELWITHDEBINFO=-O2 -g1 -DNDEBUG" -DKORVAT_TESTS=OFF
	cmake --build $(BUILD) -j $(JOBS)

# Korvat on the user's own engine.
run: build
	@if [ -z "$$DISPLAY" ] && [ -z "$$WAYLAND_DISPLAY" ]; then \
	  echo "No display here, so Korvat's window cannot open; this is what it would show:"; \
	  $(KORVAT) --dump; \
	else \
	  $(KORVAT); \
	fi

# Korvat on a private engine with sample projects, which are made while Korvat builds.
demo: setup
	@mkdir -p $(BUILD) && { $(DEMO_ENV) bash scripts/demo.sh prepare >$(BUILD)/demo-prepare.log 2>&1 & pid=$$!; } && \
	$(MAKE) --no-print-directory build && \
	{ wait $$pid || { cat $(BUILD)/demo-prepare.log; exit 1; }; } && \
	$(DEMO_ENV) bash scripts/demo.sh open $(KORVAT)

demo-stop:
	@$(DEMO_ENV) bash scripts/engine.sh stop

# The whole suite, sanitizers on, against a private engine that ctest starts and stops; the
# lower layers' live suites run while the rest builds (scripts/test.sh). The benchmarks are
# built too (not run), so a change cannot leave them behind.
test: setup
	$(call fresh,$(TEST_BUILD))
	$(CONFIGURE) -S . -B $(TEST_BUILD) -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG=-g1 -DKORVAT_SANITIZE=ON -DKORVAT_BENCH=ON
	bash scripts/test.sh $(TEST_BUILD) $(JOBS)

# Performance figures on a private engine (not part of the tests).
bench: setup
	$(call fresh,$(BUILD)-bench)
	$(CONFIGURE) -S . -B $(BUILD)-bench -DCMAKE_BUILD_TYPE=Release -DKORVAT_TESTS=OFF -DKORVAT_BENCH=ON
	cmake --build $(BUILD)-bench -j $(JOBS)
	bash bench/run.sh $(BUILD)-bench

# Every parser under libFuzzer for FUZZ_SECONDS each, built with clang; fails on a crash.
fuzz:
	@bash scripts/setup.sh
	CC=clang CXX=clang++ cmake -S . -B build-fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKORVAT_TESTS=OFF -DKORVAT_FUZZ=ON
	cmake --build build-fuzz -j $(JOBS)
	bash tests/fuzz/run.sh build-fuzz $(FUZZ_SECONDS)

# Line and branch coverage of each layer, from the unit and live suites together, in a clang
# build whose every process (korvat too) writes its profile; fails below the floors.
coverage: coverage-build
	python3 scripts/coverage.py build-cov $(JOBS)

# What each unit test case adds: every case run alone in the coverage build, and those that
# run no line or branch the others do not listed, as candidates to fold or drop.
coverage-cases: coverage-build
	python3 scripts/case-coverage.py build-cov

coverage-build:
	@bash scripts/setup.sh coverage
	CC=clang CXX=clang++ cmake -S . -B build-cov -G Ninja -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG=-g1 -DKORVAT_COVERAGE=ON -DKORVAT_BENCH=OFF
	cmake --build build-cov -j $(JOBS)

# Every view in both readings, over built-in sample data, into shots/.
shots: build
	$(KORVAT) --shot shots

# A Debian package of a release build: build-package/korvat_<version>_<arch>.deb
package: setup
	$(call fresh,build-package)
	$(CONFIGURE) -S . -B build-package -DCMAKE_BUILD_TYPE=Release -DKORVAT_TESTS=OFF -DCMAKE_INSTALL_PREFIX=/usr
	cmake --build build-package -j $(JOBS)
	cd build-package && cpack

clean:
	rm -rf $(BUILD) $(TEST_BUILD)
