# The two entry points of the README.
#   make run   installs what is missing, builds, starts irserver on its
#              embedded default (./ir.db, giop:tcp:127.0.0.1:2810)
#   make test  installs what is missing, builds, runs every test
BUILD ?= build
JOBS ?= 2
DEBS := cmake g++ make pkg-config python3 libomniorb4-dev omniidl \
        omniorb-idl libcos4-dev libsqlite3-dev libgtest-dev libgmock-dev \
        nlohmann-json3-dev libcli11-dev libcpp-httplib-dev libsystemd-dev ccache \
        omniorb-nameserver

.PHONY: deps build run test clean

deps:
	@missing=""; for p in $(DEBS); do \
	  dpkg-query -W -f='$${Status}' $$p 2>/dev/null | grep -q 'ok installed' || missing="$$missing $$p"; \
	done; \
	if [ -n "$$missing" ]; then \
	  echo "installing:$$missing"; \
	  SUDO=; [ "$$(id -u)" = 0 ] || SUDO=sudo; \
	  $$SUDO apt-get update -qq && \
	  DEBIAN_FRONTEND=noninteractive $$SUDO apt-get install -y -qq $$missing; \
	fi

build: deps
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
	cmake --build $(BUILD) -j $(JOBS)

run: build
	$(BUILD)/irserver

test: build
	cd $(BUILD) && ctest --output-on-failure -j $(JOBS) --timeout 300

clean:
	rm -rf $(BUILD)
