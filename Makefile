# The two commands of the README: `make run` and `make test`.
# Each installs what is missing first, then builds with CMake and Ninja.
JOBS ?= $(shell nproc)
BUILD_DIR ?= build
TEST_DIR ?= build-test
CMAKE_FLAGS ?=
TEST_FLAGS ?= -DVELMO_SANITIZE=ON -DVELMO_WERROR=ON
ARGS ?=

.PHONY: deps build run test bench clean

deps:
	@scripts/install-deps

$(BUILD_DIR)/build.ninja: | deps
	cmake -S . -B $(BUILD_DIR) -G Ninja -DCMAKE_BUILD_TYPE=Release -DVELMO_BUILD_TESTS=OFF $(CMAKE_FLAGS)

build: deps $(BUILD_DIR)/build.ninja
	cmake --build $(BUILD_DIR) -j $(JOBS)

run: build
	$(BUILD_DIR)/bin/velmo $(ARGS)

$(TEST_DIR)/build.ninja: | deps
	cmake -S . -B $(TEST_DIR) -G Ninja -DCMAKE_BUILD_TYPE=Debug -DVELMO_BUILD_BENCH=OFF $(TEST_FLAGS) $(CMAKE_FLAGS)

test: deps $(TEST_DIR)/build.ninja
	cmake --build $(TEST_DIR) -j $(JOBS)
	cd $(TEST_DIR) && ctest --output-on-failure -j $(JOBS) --timeout 300

bench: build
	scripts/run-bench $(ARGS)

clean:
	rm -rf $(BUILD_DIR) $(TEST_DIR)
