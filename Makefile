# One-command entry points. Each installs the Debian packages that are missing,
# configures and builds, then does its job.
BUILD          ?= build
SANITIZE_BUILD ?= build-sanitize
TSAN_BUILD     ?= build-tsan
FUZZ_BUILD     ?= build-fuzz
JOBS           ?= 2
FUZZ_SECONDS   ?= 60
# What the build and the demo need, for every target. The test-only readers below stay
# out of it: silx alone brings Qt and a few hundred packages that building never uses.
PACKAGES      := cmake g++ make libopencv-core-dev libopencv-imgcodecs-dev libgtest-dev libgmock-dev libbenchmark-dev libcereal-dev
# libFuzzer and clang's sanitizer runtimes; GCC's come with g++.
FUZZ_PACKAGES := clang libclang-rt-14-dev
# dpkg-shlibdeps and pkg-config: the Debian packages and their test
PACKAGES      += dpkg-dev pkg-config
# The Python module (pybind11, numpy) and the HDF5 recording library, with the LZ4
# filter its compressed recordings are written through.
PACKAGES      += pybind11-dev python3-dev python3-numpy libhdf5-dev hdf5-filter-plugin
# The transport library on ZeroMQ through cppzmq.
PACKAGES      += libzmq3-dev cppzmq-dev
# zarvo-inspect's command line.
PACKAGES      += libcli11-dev
# Only for the tests: pytest; h5py with hdf5plugin's filters and silx's NeXus validation,
# the independent readers recordings are checked with; h5clear, run on a file whose
# writer was killed before its first frame; pyzmq, which reads and writes the transport's
# messages with a socket of its own; mypy, whose stubtest checks the module's stubs and
# which checks the README's session; clang-format, which checks the sources' layout.
TEST_PACKAGES := python3-pytest python3-h5py python3-hdf5plugin python3-silx hdf5-tools python3-zmq mypy clang-format

# The instrumented builds: optimised with debug information for readable reports,
# without the load-time clones (see cmake/ZarvoSanitize.cmake), without the
# benchmarks and the demo.
INSTRUMENTED := -DCMAKE_BUILD_TYPE=RelWithDebInfo -DZARVO_WARNINGS_AS_ERRORS=ON -DZARVO_TARGET_CLONES=OFF \
                -DZARVO_BUILD_BENCHMARKS=OFF -DZARVO_BUILD_EXAMPLES=OFF
FUZZ_DIR := $(FUZZ_BUILD)/fuzz

.PHONY: all deps test-deps fuzz-deps configure build test test-sanitize test-tsan fuzz demo bench bench-python package install-packages docs clean

all: build

# Installs those of the packages in $(1) that are missing.
define install-missing
	@missing=""; \
	for p in $(1); do \
	  dpkg-query -W -f='$${Status}' $$p 2>/dev/null | grep -q 'install ok installed' || missing="$$missing $$p"; \
	done; \
	if [ -n "$$missing" ]; then \
	  echo "Installing missing packages:$$missing"; \
	  if [ "$$(id -u)" -ne 0 ]; then sudo=sudo; else sudo=; fi; \
	  $$sudo apt-get update && DEBIAN_FRONTEND=noninteractive $$sudo apt-get install -y $$missing; \
	fi
endef

deps:
	$(call install-missing,$(PACKAGES))

test-deps: deps
	$(call install-missing,$(TEST_PACKAGES))

fuzz-deps: deps
	$(call install-missing,$(FUZZ_PACKAGES))

configure: deps
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=Release -DZARVO_WARNINGS_AS_ERRORS=ON

build: configure
	cmake --build $(BUILD) -j$(JOBS)

test: test-deps build
	ctest --test-dir $(BUILD) --output-on-failure -j$(JOBS)

# The whole suite under AddressSanitizer and UndefinedBehaviorSanitizer; the first
# report fails its test. InstalledPackage.ConsumerBuildsAndRuns is left out: it
# builds a project of its own against the installed libraries without sanitizer
# flags, and a program that loads an ASan library without having the ASan runtime
# first in its own library list aborts at start.
test-sanitize: test-deps
	cmake -S . -B $(SANITIZE_BUILD) $(INSTRUMENTED) -DZARVO_SANITIZE=address,undefined
	cmake --build $(SANITIZE_BUILD) -j$(JOBS)
	ASAN_OPTIONS=detect_leaks=1:detect_stack_use_after_return=1:check_initialization_order=1 \
	UBSAN_OPTIONS=print_stacktrace=1 \
	ctest --test-dir $(SANITIZE_BUILD) --output-on-failure -j$(JOBS) -E '^InstalledPackage\.'

# The concurrency test under ThreadSanitizer.
test-tsan: deps
	cmake -S . -B $(TSAN_BUILD) $(INSTRUMENTED) -DZARVO_SANITIZE=thread
	cmake --build $(TSAN_BUILD) -j$(JOBS) --target zarvo_tests
	TSAN_OPTIONS=halt_on_error=1 ctest --test-dir $(TSAN_BUILD) --output-on-failure -R '^Concurrency\.'

# Every harness for FUZZ_SECONDS, each from fresh seeds and the corpus it grew
# before. A crash, a sanitizer report, a leak, one allocation above 256 MB or a
# process above 2 GB (ASan's shadow and quarantine included) fails the target and
# leaves the input in $(FUZZ_DIR)/findings/.
fuzz: fuzz-deps
	cmake -S . -B $(FUZZ_BUILD) $(INSTRUMENTED) -DCMAKE_CXX_COMPILER=clang++ -DZARVO_BUILD_TESTS=OFF -DZARVO_BUILD_TOOLS=OFF \
	      -DZARVO_BUILD_FUZZERS=ON -DZARVO_SANITIZE=address,undefined
	cmake --build $(FUZZ_BUILD) -j$(JOBS)
	rm -rf $(FUZZ_DIR)/seeds && $(FUZZ_DIR)/fuzz_seeds $(FUZZ_DIR)/seeds
	@mkdir -p $(FUZZ_DIR)/findings; \
	for harness in $(FUZZ_DIR)/harness/fuzz_*; do \
	  name=$${harness##*/fuzz_}; log=$(FUZZ_DIR)/$$name.log; mkdir -p $(FUZZ_DIR)/corpus/$$name; \
	  $$harness -max_total_time=$(FUZZ_SECONDS) -malloc_limit_mb=256 -rss_limit_mb=2048 -timeout=10 \
	    -print_final_stats=1 -artifact_prefix=$(FUZZ_DIR)/findings/$$name- \
	    $(FUZZ_DIR)/corpus/$$name $(FUZZ_DIR)/seeds/$$name >$$log 2>&1 \
	    || { tail -n 60 $$log; echo "fuzz_$$name failed, log in $$log"; exit 1; }; \
	  echo "fuzz_$$name: $$(sed -n 's/^stat::number_of_executed_units: *//p' $$log) executions in $(FUZZ_SECONDS) s"; \
	done

demo: build
	$(BUILD)/examples/zarvo_demo
	@echo; $(BUILD)/examples/zarvo_record $(BUILD)/zarvo_record.h5
	@echo; $(BUILD)/examples/zarvo_stream

bench: build
	@for b in $(BUILD)/bench/zarvo_bench_*; do echo "== $$b"; $$b || exit 1; done

# The Python module's timings against numpy, as ratios (python/bench/).
bench-python: configure
	cmake --build $(BUILD) -j$(JOBS) --target bench-python

# The Debian packages (see cmake/ZarvoPackaging.cmake), written into $(BUILD). Builds only
# what they hold: no tests, no benchmarks.
package: configure
	cmake --build $(BUILD) -j$(JOBS) --target packaged
	rm -f $(BUILD)/*.deb
	cd $(BUILD) && cpack -G DEB

# Installs the packages that `make package` wrote, with what they depend on.
install-packages: package
	@if [ "$$(id -u)" -ne 0 ]; then sudo=sudo; else sudo=; fi; \
	$$sudo apt-get install -y "$$(realpath $(BUILD))"/*.deb

# HTML API documentation of the public headers in $(BUILD)/docs/html, from docs/Doxyfile;
# any Doxygen warning fails it.
DOCS_PACKAGES := doxygen
docs:
	$(call install-missing,$(DOCS_PACKAGES))
	mkdir -p $(BUILD)/docs
	(cat docs/Doxyfile; echo "OUTPUT_DIRECTORY = $(BUILD)/docs") | doxygen -

clean:
	rm -rf $(BUILD) $(SANITIZE_BUILD) $(TSAN_BUILD) $(FUZZ_BUILD)
