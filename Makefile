# Front door of PictureQVL. Every target installs the Debian packages it
# needs when they are missing, so it works on a fresh Debian 12 machine.

BUILD      ?= build
ASAN_BUILD ?= build-asan
BENCH_BUILD ?= build-bench
JOBS       ?= $(shell nproc)
CMAKE_ARGS ?=

BASE_PACKAGES  = cmake g++ make pkg-config libgd-dev libffi-dev libgtest-dev libgmock-dev libhwy-dev zip
BENCH_PACKAGES = libbenchmark-dev libopencv-dev

define install_missing
	@missing=""; for p in $(1); do dpkg -s $$p >/dev/null 2>&1 || missing="$$missing $$p"; done; \
	if [ -n "$$missing" ]; then \
	  echo "Installing:$$missing"; \
	  SUDO=""; [ "$$(id -u)" = 0 ] || SUDO=sudo; \
	  $$SUDO apt-get update -q && DEBIAN_FRONTEND=noninteractive $$SUDO apt-get install -y -q --no-install-recommends $$missing; \
	fi
endef

.PHONY: deps build demo test test-asan bench package clean format

deps:
	$(call install_missing,$(BASE_PACKAGES))

build: deps
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=Release $(CMAKE_ARGS) >/dev/null
	cmake --build $(BUILD) -j $(JOBS)

demo: build
	@mkdir -p out
	$(BUILD)/qvl ThresholdQVL samples/gradient.png 128 -o out/threshold.png
	@echo "Threshold of samples/gradient.png at 128 written to out/threshold.png"

test: build
	cd $(BUILD) && ctest -j $(JOBS) --output-on-failure

test-asan: deps
	cmake -S . -B $(ASAN_BUILD) -DCMAKE_BUILD_TYPE=Debug -DQVL_SANITIZE=ON $(CMAKE_ARGS) >/dev/null
	cmake --build $(ASAN_BUILD) -j $(JOBS)
	cd $(ASAN_BUILD) && ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 ctest -j $(JOBS) --output-on-failure

bench: deps
	$(call install_missing,$(BENCH_PACKAGES))
	cmake -S . -B $(BENCH_BUILD) -DCMAKE_BUILD_TYPE=Release -DQVL_BENCH=ON $(CMAKE_ARGS) >/dev/null
	cmake --build $(BENCH_BUILD) -j $(JOBS)
	$(BENCH_BUILD)/bench/qvl_bench $(BENCH_ARGS)

package: deps
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=Release $(CMAKE_ARGS) >/dev/null
	cmake --build $(BUILD) -j $(JOBS) --target PictureQVL
	rm -rf $(BUILD)/package PictureQVL.xojo_plugin
	@platform=$$(case "$$(uname -s)/$$(uname -m)" in \
	  Linux/x86_64) echo "Linux X86 64bit";; Linux/aarch64) echo "Linux ARM64";; Darwin/*) echo "Mac Universal";; esac); \
	if [ -z "$$platform" ]; then echo "package: no Xojo platform for $$(uname -s)/$$(uname -m)" >&2; exit 1; fi; \
	library=$$(ls $(BUILD)/libPictureQVL.so $(BUILD)/libPictureQVL.dylib 2>/dev/null | head -n 1); \
	mkdir -p "$(BUILD)/package/PictureQVL/Build Resources/$$platform" && \
	cp "$$library" "$(BUILD)/package/PictureQVL/Build Resources/$$platform/" && \
	cd $(BUILD)/package && zip -qr "$(CURDIR)/PictureQVL.xojo_plugin" PictureQVL
	@echo "Package written to PictureQVL.xojo_plugin"

format:
	clang-format -i $$(git ls-files '*.cpp' '*.h')

clean:
	rm -rf $(BUILD) $(ASAN_BUILD) $(BENCH_BUILD) out PictureQVL.xojo_plugin
