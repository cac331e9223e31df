# Quillane: the everyday commands. Each target installs what it needs first.
BUILD_DIR    ?= build
SANITIZE_DIR ?= build-sanitize
JOBS         ?= $(shell nproc)
CMAKE_FLAGS  ?=

.PHONY: all deps configure build test run bench sanitize format clean

all: build

deps:
	@scripts/install-deps

configure: deps
	cmake -S . -B $(BUILD_DIR) -DCMAKE_BUILD_TYPE=Release $(CMAKE_FLAGS)

build: configure
	cmake --build $(BUILD_DIR) -j $(JOBS)

test: build
	ctest --test-dir $(BUILD_DIR) --output-on-failure -j $(JOBS)

# Until the desktop exists, this runs the headless runner on an example and says so.
run: build
	@echo "Quillane (headless): analysing examples/cantilever.model and running 30 optimization steps"
	$(BUILD_DIR)/bin/quillane-cli run examples/cantilever.model --steps 30

bench: build
	$(BUILD_DIR)/bin/quillane-bench --benchmark_counters_tabular=true

# The tests once more, built with AddressSanitizer and UndefinedBehaviorSanitizer.
sanitize: deps
	cmake -S . -B $(SANITIZE_DIR) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQUILLANE_SANITIZE=ON \
	  -DQUILLANE_BUILD_BENCH=OFF $(CMAKE_FLAGS)
	cmake --build $(SANITIZE_DIR) -j $(JOBS)
	ctest --test-dir $(SANITIZE_DIR) --output-on-failure -j $(JOBS)

format:
	clang-format -i $$(git ls-files '*.cpp' '*.h')

clean:
	rm -rf $(BUILD_DIR) $(SANITIZE_DIR)
