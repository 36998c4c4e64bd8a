# Thin wrapper over CMake. `make run` runs the tool's demo, `make test` the suite.
BUILD      ?= build
ASAN_BUILD ?= build-asan
BENCH_BUILD ?= build-bench
JOBS       ?= $(shell nproc)
CMAKE_FLAGS ?=

.PHONY: all deps build run test test-asan bench clean

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
	$(BENCH_BUILD)/bin/corvane_bench --tsv=$(BUILD)/bench-results.tsv

clean:
	rm -rf $(BUILD) $(ASAN_BUILD) $(BENCH_BUILD)
