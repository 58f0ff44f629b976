# Nelvo's developer commands. See README.md.
BUILD_DIR ?= build
ASAN_DIR ?= build-asan
FUZZ_DIR ?= build-fuzz
FUZZ_SECONDS ?= 60
SOAK_MINUTES ?= 60
JOBS ?= $(shell nproc)
CMAKE_FLAGS ?= -DCMAKE_BUILD_TYPE=RelWithDebInfo
# Leaks are detected. GLib hands out small blocks (GStreamer's messages,
# events, structures) from its slice allocator, which LeakSanitizer sees only
# when every block is a plain malloc; gc-friendly clears freed GLib memory so
# stale pointers do not hide a leak. The system libraries have no frame
# pointers, so allocation stacks are unwound the slow way (8 frames): without
# them no suppression could tell a library's one-time block from a leak.
ASAN_ENV = G_SLICE=always-malloc G_DEBUG=gc-friendly \
	ASAN_OPTIONS=detect_leaks=1:fast_unwind_on_malloc=0:malloc_context_size=8 \
	LSAN_OPTIONS=suppressions=$(CURDIR)/tests/lsan-suppressions.txt:print_suppressions=0 \
	UBSAN_OPTIONS=print_stacktrace=1

.PHONY: deps configure build run test bench asan fuzz soak package format clean

deps:
	@scripts/install-deps

configure: deps
	@cmake -S . -B $(BUILD_DIR) $(CMAKE_FLAGS) >/dev/null

build: configure
	@scripts/build-quietly $(BUILD_DIR) -j $(JOBS)

run: build
	@scripts/run-nelvo $(BUILD_DIR)/src/app/nelvo $(ARGS)

test: build
	@cd $(BUILD_DIR) && ctest -j $(JOBS) --output-on-failure --timeout 600

bench: build
	@scripts/install-deps --bench
	@scripts/run-benches $(BUILD_DIR)

package: build
	@cd $(BUILD_DIR) && cpack -G DEB

asan: deps
	@cmake -S . -B $(ASAN_DIR) -DCMAKE_BUILD_TYPE=Debug -DNELVO_SANITIZE=ON >/dev/null
	@cmake --build $(ASAN_DIR) -j $(JOBS)
	@cd $(ASAN_DIR) && $(ASAN_ENV) ctest -j $(JOBS) --output-on-failure --timeout 900

# Every parser of outside input under libFuzzer, FUZZ_SECONDS each (clang).
fuzz: deps
	@CC=clang CXX=clang++ cmake -S . -B $(FUZZ_DIR) -DCMAKE_BUILD_TYPE=RelWithDebInfo \
		-DNELVO_FUZZ=ON >/dev/null
	@cmake --build $(FUZZ_DIR) -j $(JOBS) --target nelvo_fuzzers
	@scripts/run-fuzzers $(FUZZ_DIR) $(FUZZ_SECONDS)

# The headless demo armed for SOAK_MINUTES with triggers throughout, sampled
# every minute into a CSV and a plot.
soak: build
	@scripts/install-deps --soak
	@scripts/soak $(BUILD_DIR) $(SOAK_MINUTES)

format:
	@find src tests bench \( -name '*.cpp' -o -name '*.h' \) -print0 | xargs -0 -r clang-format -i

clean:
	@rm -rf $(BUILD_DIR) $(ASAN_DIR) $(FUZZ_DIR)
