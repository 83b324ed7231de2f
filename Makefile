# A thin front of the CMake presets (CMakePresets.json): `make help` lists what there is.

JOBS ?= $(shell nproc)
TRACK ?= $(firstword $(wildcard samples/*.mp3))
TIDY ?= src tools
SEEDS ?= 20000
FIRST ?= 1
MINUTES ?= 31
SECONDS ?= 60
PREFIX ?= /usr/local

SOURCES = $(shell git ls-files '*.cpp' '*.h')
# The one that Debian's packages are for.
python = /usr/bin/python3
setup = tools/setup/install-packages.sh
purposes = build test
build = cmake --preset $(1) && cmake --build --preset $(1) -j $(JOBS)

.PHONY: help
help: ## Lists the targets
	@grep -E '^[a-z-]+:.*##' $(MAKEFILE_LIST) | sed -E 's/^([a-z-]+):.*## (.*)/\1\t\2/' | expand -t 16

.PHONY: build
build: ## Builds the libraries and qz_play into build/
	@$(setup) build
	$(call build,default)

.PHONY: install uninstall
install: ## Installs into PREFIX (/usr/local), below DESTDIR if that is given
	@$(setup) build docs
	cmake --preset default -DQZ_BUILD_DOCS=ON -DCMAKE_INSTALL_PREFIX="$(PREFIX)" && cmake --build --preset default -j $(JOBS)
	DESTDIR="$(DESTDIR)" cmake --install build

uninstall: ## Removes what the last `make install` installed; below DESTDIR if that is given
	@DESTDIR="$(DESTDIR)" tools/setup/uninstall.sh build/install_manifest.txt

.PHONY: play
play: build ## Plays TRACK, or the sample; into a WAV file where there is no sound device
	@tools/setup/play.sh "$(TRACK)"

.PHONY: test asan tsan valgrind
test: ## Builds and runs all tests
asan: ## Runs the tests under AddressSanitizer, LeakSanitizer and UndefinedBehaviorSanitizer
tsan: ## Runs the tests under ThreadSanitizer
valgrind: ## Runs the tests under valgrind's memcheck
valgrind: purposes += check
test asan tsan valgrind:
	@$(setup) $(purposes)
	$(call build,$@)
	ctest --preset $@ -j $(JOBS)

.PHONY: simulate
simulate: ## Runs SEEDS (20000) simulations of the player, from the seed FIRST (1) on
	@$(setup) build test
	$(call build,test) --target qz_simulate
	build/bin/qz_simulate --first $(FIRST) --seeds $(SEEDS)

.PHONY: soak
soak: ## Keeps players busy for MINUTES (31) and checks that memory, threads and descriptors do not grow
	@$(setup) build test
	$(call build,test) --target qz_soak
	build/bin/qz_soak $(MINUTES)

.PHONY: fuzz
fuzz: ## Runs each fuzz harness for SECONDS (60)
	@$(setup) build test check
	$(call build,fuzz) --target track_fuzzer calls_fuzzer
	tests/fuzz/run.sh build-fuzz $(SECONDS)

.PHONY: compilers release clang-debug
compilers: release clang-debug ## Builds the libraries and qz_play with g++ optimised in C++17, clang++ not optimised in C++20
release clang-debug:
	@$(setup) build test check
	$(call build,$@)

.PHONY: cross
cross: ## Builds the libraries and qz_play for arm64 and plays TRACK under qemu
	@$(setup) build test cross
	$(call build,cross)
	@tools/cross/play.sh build-cross "$(TRACK)"

.PHONY: full
full: ## Runs the gates that take long, more than an hour
	$(MAKE) compilers
	$(MAKE) cross
	$(MAKE) valgrind
	$(MAKE) simulate SEEDS=1000000
	$(MAKE) fuzz SECONDS=600
	$(MAKE) soak MINUTES=31

.PHONY: coverage
coverage: ## Prints the coverage of src/ by the tests
	@$(setup) build test check
	$(call build,coverage)
	ctest --preset coverage -j $(JOBS)
	@# A thread that still counts while the process ends can leave a line with a count below 0: gcovr leaves it out.
	gcovr --root . --filter src/ --object-directory build-coverage --gcov-ignore-parse-errors --exclude-throw-branches --print-summary --txt build-coverage/coverage.txt --fail-under-line 98
	@cat build-coverage/coverage.txt

.PHONY: abi abi-baseline
abi: ## Compares the libraries' binary interfaces with the baselines in abi/
abi: abi_does = check
abi-baseline: ## Writes these baselines anew
abi-baseline: abi_does = write
abi abi-baseline:
	@$(setup) build test abi
	$(call build,test) --target qz_audio
	@tools/abi/abi.sh $(abi_does) build

.PHONY: format
format: ## Formats the sources
	@$(setup) check
	clang-format -i $(SOURCES)
	black --quiet bench docs

.PHONY: format-check
format-check: ## Checks the format of the sources
	@$(setup) check
	@clang-format --dry-run -Werror $(SOURCES)
	@black --quiet --check bench docs || { black --diff --quiet bench docs; exit 1; }

.PHONY: tidy
tidy: ## Builds with clang and checks the folders TIDY (src tools) with clang-tidy
	@$(setup) build test check
	$(call build,clang)
	git ls-files $(addsuffix /*.cpp,$(TIDY)) | xargs -n 1 -P $(JOBS) clang-tidy -p build-clang --quiet

.PHONY: model
model: ## Has spin search the model of how a player ends
	@$(setup) model
	@tools/model/check.sh

.PHONY: bench bench-check bench-peers
bench: ## Measures everything, prints a table and writes docs/performance.md
	@$(setup) build measure bench
	$(call build,bench)
	PYTHONPATH=bench $(python) -m measure build-bench --write docs

bench-check: ## Fails where the library adds more instructions to the decode loop than it may
	@$(setup) build measure
	$(call build,bench) --target bare_loop player_loop
	PYTHONPATH=bench $(python) -m measure build-bench --only instructions --strict

bench-peers: ## Installs other players, plays a track with each and writes docs/peers.md
	@$(setup) build measure bench peers
	$(call build,bench) --target qz_play log_exec asound_module_pcm_paced
	PYTHONPATH=bench $(python) -m measure.peers build-bench docs

.PHONY: deb deb-check
deb: ## Builds the Debian packages into build-deb/ and has lintian look at them
	@$(setup) build docs deb
	tools/deb/build.sh

deb-check: deb ## Installs these packages, uses them, and removes and purges them
	tools/deb/check.sh

.PHONY: docs man
docs: ## Writes the documentation as web pages, build-docs/html/index.html
man: ## Writes the manual pages, for man -M build-docs/man qz_audio
docs man:
	@$(setup) build docs
	$(call build,docs) --target $@

.PHONY: clean
clean: ## Removes what was built
	rm -rf build build-*
