# Front door of PictureQVL. Every target installs the Debian packages it
# needs when they are missing, so it works on a fresh Debian 12 machine.

BUILD      ?= build
ASAN_BUILD ?= build-asan
BENCH_BUILD ?= build-bench
ARM64_BUILD ?= build-arm64
FUZZ_BUILD ?= build-fuzz
FUZZ_SECONDS ?= 60
JOBS       ?= $(shell nproc)
CMAKE_ARGS ?=

BASE_PACKAGES  = cmake g++ make pkg-config libgd-dev libffi-dev libgtest-dev libgmock-dev libhwy-dev zip python3 espeak-ng
BENCH_PACKAGES = libbenchmark-dev libopencv-dev ffmpeg
# espeak-ng speaks the sentence whose waveform a test draws.
# The gallery's photographs come from opencv-doc, its spoken sentence from
# espeak-ng; its browser test runs Chromium.
GALLERY_PACKAGES = python3 opencv-doc espeak-ng
PHOTOS = /usr/share/doc/opencv-doc/examples/data
# Debian's clang and its runtimes, libFuzzer among them.
FUZZ_PACKAGES = clang libclang-rt-14-dev
FUZZ_TARGETS = $(patsubst fuzz/%_fuzzer.cpp,%,$(wildcard fuzz/*_fuzzer.cpp))
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

.PHONY: deps arm64-deps build demo test test-asan test-arm64 bench fuzz gallery test-gallery package clean format

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

gallery: build
	$(call install_missing,$(GALLERY_PACKAGES))
	@mkdir -p out
	espeak-ng -w out/speech.wav "PictureQVL draws the waveform of this sentence."
	python3 tools/gallery/gallery.py --qvl $(BUILD)/qvl --photos $(PHOTOS) --speech out/speech.wav \
	  --lut samples/warm.cube --out out/gallery

test-gallery: gallery
	$(call install_missing,chromium)
	python3 tests/gallery/browser_test.py out/gallery $(BUILD)/qvl out/gallery/screenshot.png

# Each fuzz target runs FUZZ_SECONDS from its checked-in seeds; what it finds
# on the way goes to the build dir, never into fuzz/corpus.
fuzz: deps
	$(call install_missing,$(FUZZ_PACKAGES))
	CC=clang CXX=clang++ cmake -S . -B $(FUZZ_BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQVL_FUZZ=ON $(CMAKE_ARGS) >/dev/null
	cmake --build $(FUZZ_BUILD) -j $(JOBS) --target fuzzers
	@for target in $(FUZZ_TARGETS); do \
	  echo "Fuzzing $$target for $(FUZZ_SECONDS) seconds"; \
	  mkdir -p $(FUZZ_BUILD)/corpus/$$target $(FUZZ_BUILD)/findings && \
	  $(FUZZ_BUILD)/fuzz/$${target}_fuzzer -max_total_time=$(FUZZ_SECONDS) -print_final_stats=1 \
	    -artifact_prefix=$(FUZZ_BUILD)/findings/$$target- $(FUZZ_ARGS) \
	    $(FUZZ_BUILD)/corpus/$$target fuzz/corpus/$$target || exit 1; \
	done

# The Linux x86-64 library and, cross-built, the Linux ARM64 one.
package: deps arm64-deps
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=Release $(CMAKE_ARGS) >/dev/null
	cmake --build $(BUILD) -j $(JOBS) --target PictureQVL
	$(ARM64_CONFIGURE)
	cmake --build $(ARM64_BUILD) -j $(JOBS) --target PictureQVL
	sh tools/package/make_package.sh "$(CURDIR)/PictureQVL.xojo_plugin" \
	  "Linux X86 64bit" $(BUILD)/libPictureQVL.so nm \
	  "Linux ARM64" $(ARM64_BUILD)/libPictureQVL.so aarch64-linux-gnu-nm

format:
	clang-format -i $$(git ls-files '*.cpp' '*.h')

clean:
	rm -rf $(BUILD) $(ASAN_BUILD) $(BENCH_BUILD) $(ARM64_BUILD) $(FUZZ_BUILD) out PictureQVL.xojo_plugin
