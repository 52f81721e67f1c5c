# One-command entry points. Each installs the Debian packages that are missing,
# configures and builds, then does its job.
BUILD    ?= build
JOBS     ?= 2
PACKAGES := cmake g++ make libopencv-core-dev libopencv-imgcodecs-dev libgtest-dev libgmock-dev libbenchmark-dev libcereal-dev
# dpkg-shlibdeps and pkg-config: the Debian packages and their test
PACKAGES += dpkg-dev pkg-config

.PHONY: all deps build test demo bench clean

all: build

deps:
	@missing=""; \
	for p in $(PACKAGES); do \
	  dpkg-query -W -f='$${Status}' $$p 2>/dev/null | grep -q 'install ok installed' || missing="$$missing $$p"; \
	done; \
	if [ -n "$$missing" ]; then \
	  echo "Installing missing packages:$$missing"; \
	  if [ "$$(id -u)" -ne 0 ]; then sudo=sudo; else sudo=; fi; \
	  $$sudo apt-get update && DEBIAN_FRONTEND=noninteractive $$sudo apt-get install -y $$missing; \
	fi

build: deps
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=Release -DZARVO_WARNINGS_AS_ERRORS=ON
	cmake --build $(BUILD) -j$(JOBS)

test: build
	ctest --test-dir $(BUILD) --output-on-failure -j$(JOBS)

demo: build
	$(BUILD)/examples/zarvo_demo

bench: build
	@for b in $(BUILD)/bench/zarvo_bench_*; do echo "== $$b"; $$b || exit 1; done

# Debian packages libzarvo-datatypes and libzarvo-datatypes-dev, written into $(BUILD).
.PHONY: package
package: build
	cd $(BUILD) && cpack -G DEB

# HTML API documentation of the public headers in $(BUILD)/docs/html, from docs/Doxyfile;
# any Doxygen warning fails it.
DOCS_PACKAGES := doxygen
.PHONY: docs
docs:
	@$(MAKE) --no-print-directory deps PACKAGES="$(DOCS_PACKAGES)"
	mkdir -p $(BUILD)/docs
	(cat docs/Doxyfile; echo "OUTPUT_DIRECTORY = $(BUILD)/docs") | doxygen -

clean:
	rm -rf $(BUILD)
