# The two entry points of the README.
#   make run   installs what is missing, builds, starts irserver on its
#              embedded default (./ir.db, giop:tcp:127.0.0.1:2810, the web
#              view at http://127.0.0.1:2811/)
#   make test  installs what is missing, builds, runs every test
# and for installing:
#   make install [PREFIX=/usr/local] [DESTDIR=...]
#              builds with the man pages and installs (cmake --install)
#   make deb   builds the Debian package ./irserver_<version>_<arch>.deb
BUILD ?= build
JOBS ?= 2
PREFIX ?= /usr/local
DEBS := cmake g++ make pkg-config python3 libomniorb4-dev omniidl \
        omniorb-idl libcos4-dev libsqlite3-dev libgtest-dev libgmock-dev openssl \
        nlohmann-json3-dev libcli11-dev libcpp-httplib-dev libsystemd-dev ccache \
        omniorb-nameserver chromium chromium-driver
# What make install and make deb need beyond that: the man page renderer
# and the Debian packaging tools.
INSTALL_DEBS := go-md2man
DEB_DEBS := go-md2man debhelper dpkg-dev fakeroot git

.PHONY: deps install-deps deb-deps build run test install deb clean

# $(call apt,PACKAGES): installs the packages that are missing.
define apt
	@missing=""; for p in $(1); do \
	  dpkg-query -W -f='$${Status}' $$p 2>/dev/null | grep -q 'ok installed' || missing="$$missing $$p"; \
	done; \
	if [ -n "$$missing" ]; then \
	  echo "installing:$$missing"; \
	  SUDO=; [ "$$(id -u)" = 0 ] || SUDO=sudo; \
	  $$SUDO apt-get update -qq && \
	  DEBIAN_FRONTEND=noninteractive $$SUDO apt-get install -y -qq $$missing; \
	fi
endef

deps:
	$(call apt,$(DEBS))

install-deps: deps
	$(call apt,$(INSTALL_DEBS))

deb-deps: deps
	$(call apt,$(DEB_DEBS))

build: deps
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
	cmake --build $(BUILD) -j $(JOBS)

run: build
	$(BUILD)/irserver

test: build
	cd $(BUILD) && ctest --output-on-failure -j $(JOBS) --timeout 300

# A build of its own (no tests, no benchmarks), so that the prefix of the
# test build is left alone.
install: install-deps
	cmake -S . -B $(BUILD)/install -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	  -DCMAKE_INSTALL_PREFIX=$(PREFIX) -DIR_MANPAGES=ON \
	  -DIR_BUILD_TESTS=OFF -DIR_BUILD_BENCH=OFF >/dev/null
	cmake --build $(BUILD)/install -j $(JOBS)
	DESTDIR=$(DESTDIR) cmake --install $(BUILD)/install

# dpkg-buildpackage runs in a copy of the tree's files (tracked and new,
# not ignored) under $(BUILD)/deb, whose parent directory receives its
# output; the package is copied here.  The tests are not run again.
DEB_VERSION = $(shell sed -n '1s/.*(\(.*\)).*/\1/p' debian/changelog)
DEB_SRC = $(BUILD)/deb/irserver-$(DEB_VERSION)
deb: deb-deps
	rm -rf $(BUILD)/deb && mkdir -p $(DEB_SRC)
	git ls-files -co --exclude-standard -z \
	  | tar --null -T - --ignore-failed-read -cf - | tar -xf - -C $(DEB_SRC)
	cd $(DEB_SRC) && CCACHE_DIR=$$(ccache -k cache_dir 2>/dev/null || echo $$HOME/.cache/ccache) \
	  CCACHE_BASEDIR=$(CURDIR)/$(DEB_SRC) CCACHE_NOHASHDIR=1 \
	  IR_COMMIT=$$(git -C $(CURDIR) rev-parse --short=12 HEAD 2>/dev/null) \
	  DEB_BUILD_OPTIONS="nocheck parallel=$(JOBS)" \
	  dpkg-buildpackage -b -us -uc --no-sign >$(CURDIR)/$(BUILD)/deb/build.log 2>&1 \
	  || { tail -40 $(CURDIR)/$(BUILD)/deb/build.log; exit 1; }
	cp $(BUILD)/deb/irserver_$(DEB_VERSION)_*.deb .
	@ls irserver_$(DEB_VERSION)_*.deb

clean:
	rm -rf $(BUILD)
