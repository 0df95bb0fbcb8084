# The two commands of the README. Both install missing Debian packages first.
BUILD_DIR ?= build
JOBS ?= $(shell nproc)
CMAKE_FLAGS ?=

.PHONY: all deps configure build demo test translations package docs fuzz sanitize tsan clean

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

# Brings translations/*.ts up to date with the texts in the sources: new texts
# arrive unfinished, to be translated; texts gone from the code are dropped.
translations: configure
	cmake --build $(BUILD_DIR) --target translations_update

# The Debian packages (libmvshared1, libmvshared-dev, mvshared-tools) in
# $(BUILD_DIR)/packages, made by CPack from the build.
package: build
	cmake --build $(BUILD_DIR) --target package

# The API reference (Doxygen) in $(BUILD_DIR)/docs/html; any warning fails.
docs: configure
	cmake --build $(BUILD_DIR) --target docs

# Every fuzzer (clang, libFuzzer, ASan, UBSan), each for FUZZ_SECONDS on a copy
# of its checked-in seed corpus; FUZZERS="plant settings" runs some of them.
# Findings land in build-fuzz/fuzz-findings and fail the run.
FUZZ_SECONDS ?= 300
FUZZERS ?=
fuzz: deps
	cmake -S . -B build-fuzz -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
	  -DCMAKE_BUILD_TYPE=RelWithDebInfo -DMV_BUILD_FUZZERS=ON $(CMAKE_FLAGS)
	cmake --build build-fuzz -j $(JOBS) --target fuzzers
	scripts/run-fuzzers.sh build-fuzz $(FUZZ_SECONDS) $(FUZZERS)

# The whole suite under AddressSanitizer and UndefinedBehaviorSanitizer;
# LeakSanitizer leaves out what CPython and Qt's platform plugins keep
# (tests/lsan.supp).
sanitize: export LSAN_OPTIONS = suppressions=$(CURDIR)/tests/lsan.supp
sanitize: deps
	cmake -S . -B build-asan -DMV_SANITIZE=address,undefined -DCMAKE_BUILD_TYPE=Debug $(CMAKE_FLAGS)
	cmake --build build-asan -j $(JOBS)
	cd build-asan && ctest --output-on-failure -j $(JOBS) --timeout 900

# The whole suite under ThreadSanitizer; the distribution's Qt is not
# instrumented, so its locks are suppressed (tests/tsan-qt.supp).
tsan: deps
	cmake -S . -B build-tsan -DMV_SANITIZE=thread -DCMAKE_BUILD_TYPE=Debug $(CMAKE_FLAGS)
	cmake --build build-tsan -j $(JOBS)
	cd build-tsan && TSAN_OPTIONS=suppressions=$(CURDIR)/tests/tsan-qt.supp \
	  ctest --output-on-failure -j $(JOBS) --timeout 900

clean:
	rm -rf $(BUILD_DIR)
