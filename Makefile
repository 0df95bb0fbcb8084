# The two commands of the README. Both install missing Debian packages first.
BUILD_DIR ?= build
JOBS ?= $(shell nproc)
CMAKE_FLAGS ?=

.PHONY: all deps configure build demo test clean

all: build

deps:
	./scripts/install-deps.sh

configure: deps
	cmake -S . -B $(BUILD_DIR) $(CMAKE_FLAGS)

build: configure
	cmake --build $(BUILD_DIR) -j $(JOBS)

# The main job: the plant simulator on the embedded backend.
demo: build
	$(BUILD_DIR)/bin/mvsim --demo

# Every test, labelled by component (ctest -L <label> runs one component).
test: build
	cd $(BUILD_DIR) && ctest --output-on-failure -j $(JOBS) --timeout 600

clean:
	rm -rf $(BUILD_DIR)
