# Front door of PictureQVL. Every target installs the Debian packages it
# needs when they are missing, so it works on a fresh Debian 12 machine.

BUILD      ?= build
ASAN_BUILD ?= build-asan
BENCH_BUILD ?= build-bench
ARM64_BUILD ?= build-arm64
JOBS       ?= $(shell nproc)
CMAKE_ARGS ?=

# espeak-ng speaks the sentence whose waveform a test draws.
BASE_PACKAGES  = cmake g++ make pkg-config libgd-dev libffi-dev libgtest-dev libgmock-dev libhwy-dev zip espeak-ng
BENCH_PACKAGES = libbenchmark-dev libopencv-dev
# The cross build for Linux ARM64: Debian's aarch64 toolchain, the arm64
# multiarch libraries and qemu-user to run what it builds.
ARM64_PACKAGES = cmake make pkg-config binutils g++-aarch64-linux-gnu qemu-user espeak-ng \
                 libgd-dev:arm64 libffi-dev:arm64 libgtest-dev:arm64 libgmock-dev:arm64 libhwy-dev:arm64
ARM64_CONFIGURE = cmake -S . -B $(ARM64_BUILD) -DCMAKE_TOOLCHAIN_FILE="$(CURDIR)/cmake/aarch64-linux-gnu.cmake" \
                  -DCMAKE_BUILD_TYPE=Release $(CMAKE_ARGS) >/dev/null

# A name without an architecture means the machine's own (or an
# architecture-independent package), so that an arm64 instance installed for
# the cross build does not stand in for the native one.
define install_missing
	@native=$$(dpkg --print-architecture); missing=""; for p in $(1); do \
	  case $$p in *:*) arch=$${p#*:};; *) arch=$$native;; esac; \
	  dpkg-query -W -f='$${db:Status-Abbrev}$${Architecture}\n' "$$p" 2>/dev/null | grep -qE "^ii ($$arch|all)$$" || \
	    missing="$$missing $$p"; \
	done; \
	if [ -n "$$missing" ]; then \
	  echo "Installing:$$missing"; \
	  SUDO=""; [ "$$(id -u)" = 0 ] || SUDO=sudo; \
	  $$SUDO apt-get update -q && DEBIAN_FRONTEND=noninteractive $$SUDO apt-get install -y -q --no-install-recommends $$missing; \
	fi
endef

.PHONY: deps arm64-deps build demo test test-asan test-arm64 bench package clean format

deps:
	$(call install_missing,$(BASE_PACKAGES))

# Packages of another architecture install once dpkg knows it.
arm64-deps:
	@dpkg --print-foreign-architectures | grep -qx arm64 || { \
	  SUDO=""; [ "$$(id -u)" = 0 ] || SUDO=sudo; \
	  echo "Adding the arm64 architecture"; $$SUDO dpkg --add-architecture arm64; }
	$(call install_missing,$(ARM64_PACKAGES))

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

# The whole suite cross-built for ARM64 and run under qemu-user.
test-arm64: arm64-deps
	$(ARM64_CONFIGURE)
	cmake --build $(ARM64_BUILD) -j $(JOBS)
	cd $(ARM64_BUILD) && ctest -j $(JOBS) --output-on-failure

bench: deps
	$(call install_missing,$(BENCH_PACKAGES))
	cmake -S . -B $(BENCH_BUILD) -DCMAKE_BUILD_TYPE=Release -DQVL_BENCH=ON $(CMAKE_ARGS) >/dev/null
	cmake --build $(BENCH_BUILD) -j $(JOBS)
	$(BENCH_BUILD)/bench/qvl_bench $(BENCH_ARGS)

# ARM64=1 adds the Linux ARM64 library from the cross build.
package: deps $(if $(ARM64),arm64-deps)
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=Release $(CMAKE_ARGS) >/dev/null
	cmake --build $(BUILD) -j $(JOBS) --target PictureQVL
ifneq ($(ARM64),)
	$(ARM64_CONFIGURE)
	cmake --build $(ARM64_BUILD) -j $(JOBS) --target PictureQVL
endif
	rm -rf $(BUILD)/package PictureQVL.xojo_plugin
	@platform=$$(case "$$(uname -s)/$$(uname -m)" in \
	  Linux/x86_64) echo "Linux X86 64bit";; Linux/aarch64) echo "Linux ARM64";; Darwin/*) echo "Mac Universal";; esac); \
	if [ -z "$$platform" ]; then echo "package: no Xojo platform for $$(uname -s)/$$(uname -m)" >&2; exit 1; fi; \
	library=$$(ls $(BUILD)/libPictureQVL.so $(BUILD)/libPictureQVL.dylib 2>/dev/null | head -n 1); \
	mkdir -p "$(BUILD)/package/PictureQVL/Build Resources/$$platform" && \
	cp "$$library" "$(BUILD)/package/PictureQVL/Build Resources/$$platform/" && \
	$(if $(ARM64),mkdir -p "$(BUILD)/package/PictureQVL/Build Resources/Linux ARM64" && \
	cp $(ARM64_BUILD)/libPictureQVL.so "$(BUILD)/package/PictureQVL/Build Resources/Linux ARM64/" &&) \
	cd $(BUILD)/package && zip -qr "$(CURDIR)/PictureQVL.xojo_plugin" PictureQVL
	@echo "Package written to PictureQVL.xojo_plugin"

format:
	clang-format -i $$(git ls-files '*.cpp' '*.h')

clean:
	rm -rf $(BUILD) $(ASAN_BUILD) $(BENCH_BUILD) $(ARM64_BUILD) out PictureQVL.xojo_plugin
