# Quillane: the everyday commands. Each target installs what it needs first.
BUILD_DIR    ?= build
SANITIZE_DIR ?= build-sanitize
TSAN_DIR     ?= build-tsan
FUZZ_DIR     ?= build-fuzz
FUZZ_SECONDS ?= 300
JOBS         ?= $(shell nproc)
CMAKE_FLAGS  ?=

.PHONY: all deps configure build test run bench sanitize tsan fuzz format format-check tidy package clean

all: build

deps:
	@scripts/install-deps

configure: deps
	cmake -S . -B $(BUILD_DIR) -DCMAKE_BUILD_TYPE=Release $(CMAKE_FLAGS)

build: configure
	cmake --build $(BUILD_DIR) -j $(JOBS)

test: build
	ctest --test-dir $(BUILD_DIR) --output-on-failure -j $(JOBS)

# The desktop program. Without a display it says so and runs the headless demo:
# the cantilever example, 30 optimization steps, and a picture of the stress map.
run: build
	@if [ -n "$$DISPLAY" ] || [ -n "$$WAYLAND_DISPLAY" ]; then \
	  $(BUILD_DIR)/bin/quillane; \
	else \
	  echo "No display found (DISPLAY and WAYLAND_DISPLAY are unset): running the headless demo instead."; \
	  echo "Quillane (headless): analysing examples/cantilever.model and running 30 optimization steps"; \
	  $(BUILD_DIR)/bin/quillane-cli run examples/cantilever.model --steps 30 \
	    --png $(BUILD_DIR)/cantilever-stress.png --map stress && \
	  echo "Picture of the stress map: $(BUILD_DIR)/cantilever-stress.png"; \
	fi

# A Debian package of the programs, the examples and the desktop entry (cmake/Packaging.cmake).
package: build
	cd $(BUILD_DIR) && cpack
	@echo "Package: $$(ls -t $(BUILD_DIR)/quillane_*.deb | head -n 1)"

# Built only when Google Benchmark and CHOLMOD are found (bench/CMakeLists.txt).
bench: build
	@test -x $(BUILD_DIR)/bin/quillane-bench || { echo "The benchmarks need Google Benchmark and CHOLMOD (libbenchmark-dev, libsuitesparse-dev)"; exit 1; }
	$(BUILD_DIR)/bin/quillane-bench --benchmark_counters_tabular=true
	$(BUILD_DIR)/bin/quillane-bench-window

# The tests once more, built with AddressSanitizer and UndefinedBehaviorSanitizer.
# The Qt widgets are left out: their tests exercise the toolkit more than our
# code, and every function they call is tested here through the plain layers.
sanitize: deps
	cmake -S . -B $(SANITIZE_DIR) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQUILLANE_SANITIZE=ON \
	  -DQUILLANE_BUILD_BENCH=OFF -DQUILLANE_BUILD_DESKTOP=OFF $(CMAKE_FLAGS)
	cmake --build $(SANITIZE_DIR) -j $(JOBS)
	ctest --test-dir $(SANITIZE_DIR) --output-on-failure -j $(JOBS)

# The solver's threads under ThreadSanitizer: the analysis and runner tests only, on
# three threads (more than the cores of a small machine, so waits really interleave).
tsan: deps
	cmake -S . -B $(TSAN_DIR) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQUILLANE_TSAN=ON \
	  -DQUILLANE_BUILD_BENCH=OFF -DQUILLANE_BUILD_DESKTOP=OFF $(CMAKE_FLAGS)
	cmake --build $(TSAN_DIR) -j $(JOBS) --target test_fem test_cli
	QUILLANE_THREADS=3 TSAN_OPTIONS=halt_on_error=1 ctest --test-dir $(TSAN_DIR) \
	  --output-on-failure -j $(JOBS) -L 'fem|cli'

# Optional: the model reader under libFuzzer with the sanitizers, for FUZZ_SECONDS,
# starting from the examples. Needs clang and its runtime (libclang-rt-14-dev); the
# normal build does not. Findings are left in $(FUZZ_DIR)/findings.
fuzz:
	CC=clang CXX=clang++ cmake -S . -B $(FUZZ_DIR) -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	  -DQUILLANE_FUZZ=ON -DQUILLANE_SANITIZE=ON -DQUILLANE_BUILD_DESKTOP=OFF \
	  -DQUILLANE_BUILD_TESTS=OFF -DQUILLANE_BUILD_BENCH=OFF $(CMAKE_FLAGS)
	cmake --build $(FUZZ_DIR) -j $(JOBS) --target quillane-fuzz-modelfile
	mkdir -p $(FUZZ_DIR)/corpus $(FUZZ_DIR)/findings
	cp -n examples/*.model $(FUZZ_DIR)/corpus/ 2>/dev/null || true
	$(FUZZ_DIR)/bin/quillane-fuzz-modelfile -max_total_time=$(FUZZ_SECONDS) -max_len=65536 \
	  -rss_limit_mb=2048 -artifact_prefix=$(FUZZ_DIR)/findings/ $(FUZZ_DIR)/corpus

format:
	clang-format -i $$(git ls-files '*.cpp' '*.h')

# Fails when a source is not formatted as .clang-format says (CI runs it).
format-check: deps
	clang-format --dry-run -Werror $$(git ls-files '*.cpp' '*.h')

# The checks of .clang-tidy over the program's own sources (not the tests or the
# generated Qt code), on the Release build's compile commands.
tidy: build
	run-clang-tidy -quiet -p $(BUILD_DIR) -j $(JOBS) '^$(CURDIR)/(src|cli|app)/' > $(BUILD_DIR)/tidy.log 2>&1 \
	  || { grep -E 'warning:|error:' -A3 $(BUILD_DIR)/tidy.log; echo "clang-tidy found problems (full log: $(BUILD_DIR)/tidy.log)"; exit 1; }
	@echo "clang-tidy: no findings"

clean:
	rm -rf $(BUILD_DIR) $(SANITIZE_DIR) $(TSAN_DIR) $(FUZZ_DIR)
