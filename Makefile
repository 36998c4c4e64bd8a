# Thin wrapper over CMake. `make run` runs the tool's demo, `make test` the suite.
BUILD      ?= build
ASAN_BUILD ?= build-asan
BENCH_BUILD ?= build-bench
FUZZ_BUILD ?= build-fuzz
BENCH_REPETITIONS ?= 5
FUZZ_SECONDS ?= 60
FUZZ_TARGETS ?=
SOAK_SECONDS ?= 3600
JOBS       ?= $(shell nproc)
CMAKE_FLAGS ?=

.PHONY: all deps build run test test-asan bench fuzz memcheck soak clean

all: build

deps:
	@scripts/install-deps.sh

build: deps
	@cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo $(CMAKE_FLAGS) >/dev/null
	@cmake --build $(BUILD) -j $(JOBS)

run: build
	$(BUILD)/bin/corvane demo --out $(BUILD)/demo

test: build
	cd $(BUILD) && ctest --output-on-failure -j $(JOBS)

test-asan: deps
	@cmake -S . -B $(ASAN_BUILD) -DCMAKE_BUILD_TYPE=Debug -DCORVANE_SANITIZE=ON >/dev/null
	@cmake --build $(ASAN_BUILD) -j $(JOBS)
	cd $(ASAN_BUILD) && ctest --output-on-failure -j $(JOBS)

bench: deps
	@cmake -S . -B $(BENCH_BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCORVANE_BUILD_TESTS=OFF -DCORVANE_BUILD_BENCH=ON >/dev/null
	@cmake --build $(BENCH_BUILD) -j $(JOBS) --target corvane_bench
	@mkdir -p $(BUILD)
	$(BENCH_BUILD)/bin/corvane_bench --benchmark_repetitions=$(BENCH_REPETITIONS) \
	  --benchmark_enable_random_interleaving=true --benchmark_display_aggregates_only=true \
	  --tsv=$(BUILD)/bench-results.tsv

# libFuzzer targets in their own Clang configuration, FUZZ_SECONDS each (all, or FUZZ_TARGETS).
fuzz: deps
	@cmake -S . -B $(FUZZ_BUILD) -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCORVANE_BUILD_TESTS=OFF -DCORVANE_BUILD_FUZZ=ON >/dev/null
	@cmake --build $(FUZZ_BUILD) -j $(JOBS)
	fuzz/run_fuzz.sh $(FUZZ_BUILD) $(FUZZ_SECONDS) $(FUZZ_TARGETS)

# The whole suite under valgrind memcheck, the tool's processes included.
memcheck: build
	valgrind --quiet --error-exitcode=1 --leak-check=full --errors-for-leak-kinds=definite,indirect \
	  --show-leak-kinds=definite,indirect --track-origins=yes --trace-children=yes \
	  --trace-children-skip='*/ffmpeg,*/ffprobe,*/convert' \
	  --suppressions=$(CURDIR)/tests/memcheck.supp $(BUILD)/bin/corvane_tests --gtest_brief=1

# SOAK_SECONDS of programme material through the limiter and the meters (not run by CI).
soak: build
	CORVANE_SOAK_SECONDS=$(SOAK_SECONDS) $(BUILD)/bin/corvane_tests --gtest_filter='Soak*'

clean:
	rm -rf $(BUILD) $(ASAN_BUILD) $(BENCH_BUILD) $(FUZZ_BUILD)
