# The two commands of the project: `make demo` and `make test`.
# Both install what the build needs on a fresh Debian 12 machine first.
BUILD_DIR ?= build
JOBS ?= $(shell nproc)

.PHONY: all deps configure build test demo bench clean

all: build

deps:
	scripts/install-deps.sh

configure: deps
	cmake -S . -B $(BUILD_DIR) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo

build: configure
	cmake --build $(BUILD_DIR) -j $(JOBS)

test: build
	cd $(BUILD_DIR) && ctest --output-on-failure -j $(JOBS)

demo: build
	$(BUILD_DIR)/tools/rx/rx demo --out rx-demo

bench: build
	for b in $(BUILD_DIR)/bench/rx_bench_*; do $$b; done

clean:
	rm -rf $(BUILD_DIR)
