# shellcheck shell=bash disable=SC2034  # the scripts that source it use what stands here
# Sourced by the scripts: what they need of the machine.
# need_packages PACKAGE...   installs what is missing, quiet when nothing is
# start_wine PREFIX          makes a Wine prefix if it is not there and keeps its server running
#                            until the script ends
# is_windows                 whether this is Git Bash on Windows

is_windows() { [ "$(uname -o)" = Msys ]; }

die() {
  echo "$(basename "$0"): $1" >&2
  exit 1
}

need_packages() {
  [ "$(uname -m)" = x86_64 ] || die "needs a 64-bit x86 machine; this one is $(uname -m)"
  command -v apt-get >/dev/null ||
    die "needs Debian's packages ($*), and this machine has no apt-get"
  local package missing=()
  for package in "$@"; do
    [ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null)" = installed ] ||
      missing+=("$package")
  done
  [ ${#missing[@]} -gt 0 ] || return 0

  local as_root=()
  if [ "$(id -u)" != 0 ]; then
    command -v sudo >/dev/null || die "run as root to install: ${missing[*]}"
    as_root=(sudo)
  fi
  echo "installing ${missing[*]}"
  local log
  log=$(mktemp)
  if ! { "${as_root[@]}" apt-get update &&
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
      apt-get install -y --no-install-recommends "${missing[@]}"; } >"$log" 2>&1; then
    tail -n 5 "$log" >&2
    rm -f "$log"
    die "could not install ${missing[*]} (is there a network?)"
  fi
  rm -f "$log"
}

# What the scripts use beyond Debian's essential packages: to build the Windows program and run it,
# to build for the host, to package, to compile the tests, to run them, the drivers and the fleet, to
# fuzz, to lint, and to measure.
windows_packages=(cmake ninja-build g++-mingw-w64-x86-64-posix wine64)
host_packages=(cmake ninja-build g++ libssl-dev)
package_packages=(python3 osslsigncode)
test_packages=(ccache googletest openssl python3 python3-jsonschema python3-pytest
  python3-pytest-xdist)
driver_packages=(nodejs mono-mcs mono-runtime)
fleet_packages=(ansible-core openssh-client unzip)
fuzz_packages=(clang-19 libclang-rt-19-dev)
lint_packages=(clang-format-19 clang-tidy-19 mypy shellcheck python3-flake8 python3-yaml)
bench_packages=(python3 time nsis)

stop_wine() {
  WINEPREFIX="$1" /usr/lib/wine/wineserver -k 2>/dev/null || true
  WINEPREFIX="$1" /usr/lib/wine/wineserver -w 2>/dev/null || true
}

start_wine() {
  export WINEPREFIX="$1" WINEDEBUG=-all
  trap 'stop_wine "$WINEPREFIX"' EXIT
  trap 'exit 130' INT TERM
  if [ ! -f "$WINEPREFIX/system.reg" ]; then
    mkdir -p "$WINEPREFIX"
    scripts/wine wineboot -i >/dev/null 2>&1 ||
      die "Wine could not make a prefix in $WINEPREFIX"
    /usr/lib/wine/wineserver -w
  fi
  /usr/lib/wine/wineserver -p >/dev/null 2>&1
  # One program that stays, waiting for input that never comes. Wine's services start with it and
  # stay as long; a test that started them would wait for them to close its output.
  mkfifo "$WINEPREFIX/never"
  exec 9<>"$WINEPREFIX/never"
  rm "$WINEPREFIX/never"
  scripts/wine cmd <&9 >/dev/null 2>&1 &
  scripts/wine cmd /c exit 9>&- >/dev/null 2>&1 || true
}

# One cache for all clones on a machine: compilations count as the same wherever the clone lies.
export CCACHE_BASEDIR="$PWD" CCACHE_NOHASHDIR=1

# Configures and builds one preset; prints the compiler's output only when it fails.
build() {
  local log=build/$1.log
  mkdir -p build
  if ! { cmake --preset "$1" && cmake --build "build/$1" -j"$(nproc)" "${@:2}"; } >"$log" 2>&1; then
    cat "$log" >&2
    die "the $1 build failed"
  fi
}

# Runs CTest over the three build trees; the figures that the tests print stand before its summary.
run_ctest() {
  mkdir -p build/tests
  printf 'subdirs("%s")\n' "$PWD/build/host" "$PWD/build/windows" "$PWD/build/host-asan" \
    >build/tests/CTestTestfile.cmake
  ctest --test-dir build/tests -j"$(nproc)" --output-on-failure --no-tests=error "$@" |
    awk '/ tests passed, / { summary = 1 }
      summary { held = held $0 "\n"; next }
      { print; fflush() }
      END { system("scripts/figures build/tests"); printf "\n%s", held }'
}
