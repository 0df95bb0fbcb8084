# The two commands of the README. Both install missing Debian packages first.
BUILD_DIR ?= build
JOBS ?= $(shell nproc)
CMAKE_FLAGS ?=

.PHONY: all deps configure build demo test fuzz clean

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

# The stream fuzzer (clang, libFuzzer, ASan, UBSan) for FUZZ_SECONDS on a copy
# of the checked-in seed corpus; findings land in build-fuzz/.
FUZZ_SECONDS ?= 300
fuzz: deps
	cmake -S . -B build-fuzz -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
	  -DCMAKE_BUILD_TYPE=RelWithDebInfo -DMV_BUILD_FUZZERS=ON
	cmake --build build-fuzz -j $(JOBS) --target streamitem_fuzzer
	rm -rf build-fuzz/fuzz-corpus && cp -r tests/formats/fuzz/corpus build-fuzz/fuzz-corpus
	QT_QPA_PLATFORM=offscreen build-fuzz/bin/streamitem_fuzzer build-fuzz/fuzz-corpus \
	  -max_total_time=$(FUZZ_SECONDS) -rss_limit_mb=2048 -max_len=4096 -artifact_prefix=build-fuzz/

clean:
	rm -rf $(BUILD_DIR)
