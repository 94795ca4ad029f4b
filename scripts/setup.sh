# setup.sh - sourced by run.sh, test.sh and bench.sh: makes sure the Debian
# packages that the build needs are installed.
#
# ensure_packages PACKAGE...: installs the missing ones with apt-get when run
# as root; otherwise prints the exact command and exits with status 1.
# ensure_comma_locale: compiles de_DE.UTF-8 when run as root and it is missing,
# so that the test of number reading under a comma-decimal locale runs
# (without it that test skips).

# What every build of the library, its tests, benchmarks and tool needs.
KXSVG_BUILD_PACKAGES=(cmake g++ make pkg-config libxml2-dev zlib1g-dev libutfcpp-dev libfast-float-dev
                      googletest libgtest-dev libbenchmark-dev
                      libcli11-dev nlohmann-json3-dev libcairo2-dev locales libmimalloc-dev)

# What the Python module (-DKXSVG_BUILD_PYTHON=ON), its tests and the Dask
# batch example need, for Debian's /usr/bin/python3.
KXSVG_PYTHON_PACKAGES=(pybind11-dev python3-dev python3-numpy python3-pytest python3-dask python3-distributed)

ensure_packages() {
  if ! command -v dpkg-query >/dev/null 2>&1; then
    echo "note: not a Debian system; make sure these are installed: $*" >&2
    return 0
  fi
  local missing=() p
  for p in "$@"; do
    if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
      missing+=("$p")
    fi
  done
  if [[ ${#missing[@]} -eq 0 ]]; then
    return 0
  fi
  if [[ $(id -u) -eq 0 ]]; then
    echo "Installing missing packages: ${missing[*]}"
    apt-get update
    DEBIAN_FRONTEND=noninteractive apt-get install -y "${missing[@]}"
  else
    echo "Missing packages: ${missing[*]}" >&2
    echo "Install them with:" >&2
    echo "  sudo apt-get install -y ${missing[*]}" >&2
    exit 1
  fi
}

ensure_comma_locale() {
  if locale -a 2>/dev/null | grep -qi '^de_DE\.utf-\?8$'; then
    return 0
  fi
  if [[ $(id -u) -eq 0 ]] && command -v localedef >/dev/null 2>&1; then
    localedef -i de_DE -f UTF-8 de_DE.UTF-8 || echo "note: de_DE.UTF-8 could not be made; the locale test will skip" >&2
  else
    echo "note: no de_DE.UTF-8 locale; the locale test will skip (localedef -i de_DE -f UTF-8 de_DE.UTF-8)" >&2
  fi
}
