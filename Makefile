# Everything a person or CI runs. The work is done by scripts/; see CONTRIBUTING.md.
.DEFAULT_GOAL := build
.PHONY: run check test soak build bench lint fuzz format clean install help

JOBS ?= $(shell nproc)
export JOBS

help:           ## this list
	@sed -n 's/^\([a-z]*\):[a-z ]*## */make \1\t/p' $(MAKEFILE_LIST) | expand -t 16

build:          ## build build/release/vantora-host and everything beside it
	@scripts/install-packages build
	@scripts/build release
	@echo "make build: built build/release/vantora-host"

run:            ## build, start a room server and the host, print the viewer's address (WAYLAND=1: a virtual Wayland desktop)
	@scripts/install-packages build run $(if $(filter 1,$(WAYLAND)),wayland)
	@scripts/build release vantora-host vantora_room_server
	@scripts/run
	@echo "make run: ended"

check:          ## what every change is tested with: all but e2e, of which a dozen cases, and no sanitizers
	@scripts/install-packages build run wayland test
	@scripts/test --title "make check" unit protocol companion diagnostics x11 wayland ui peer smoke

test:           ## all tests, again under the sanitizers, and the fuzz targets (STAGES="unit x11" for some)
	@scripts/install-packages build run wayland test
	@scripts/test $(STAGES)

soak:           ## ten minutes of one session, and the suites with series (growth, outages) in their full length
	@scripts/install-packages build run wayland test
	@VANTORA_SOAK=1 scripts/test --title "make soak" soak

fuzz:           ## the fuzz targets only, FUZZ_SECONDS each (600)
	@scripts/install-packages build test
	@FUZZ_SECONDS="$${FUZZ_SECONDS:-600}" scripts/test --title "make fuzz" fuzz

bench:          ## the benchmarks, figures beside their aims, kept in build/bench/results.json
	@scripts/install-packages build run wayland bench
	@scripts/bench
	@echo "make bench: figures in build/bench/results.json"

lint:           ## format, clang-tidy, shell, JavaScript, word and include checks (FILES="a.cpp b.h" for some)
	@scripts/install-packages build lint
	@scripts/lint $(FILES)

format:         ## clang-format every C++ file in place
	@scripts/install-packages lint
	@git ls-files '*.cpp' '*.h' | xargs -r clang-format -i
	@echo "make format: formatted"

install: build  ## install under PREFIX (/usr/local), below DESTDIR if set
	@cmake --install build/release --prefix "$(or $(PREFIX),/usr/local)" >/dev/null
	@echo "make install: installed under $(DESTDIR)$(or $(PREFIX),/usr/local)"

clean:          ## remove everything that was built
	@rm -rf build
	@echo "make clean: removed build"
