# Nelvo's developer commands. See README.md.
BUILD_DIR ?= build
ASAN_DIR ?= build-asan
JOBS ?= $(shell nproc)
CMAKE_FLAGS ?= -DCMAKE_BUILD_TYPE=RelWithDebInfo

.PHONY: deps configure build run test bench asan package format clean

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
	@cd $(ASAN_DIR) && ASAN_OPTIONS=detect_leaks=0 UBSAN_OPTIONS=print_stacktrace=1 \
		ctest -j $(JOBS) --output-on-failure --timeout 900

format:
	@find src tests bench \( -name '*.cpp' -o -name '*.h' \) -print0 | xargs -0 -r clang-format -i

clean:
	@rm -rf $(BUILD_DIR) $(ASAN_DIR)
