# Sourced by ./run and ./test: installs the Debian packages that they need and this machine lacks.

kt_build_packages="g++ cmake ninja-build pkg-config libpugixml-dev libexpat1-dev libsqlite3-dev
  libutf8proc-dev libcli11-dev nlohmann-json3-dev libcsv-dev libpq-dev libcpp-httplib-dev"
# For the page, unless the machine has them from elsewhere.
kt_page_packages=""
if ! command -v node >/dev/null || ! command -v npm >/dev/null; then
  kt_page_packages="nodejs npm"
fi
kt_test_packages="$kt_page_packages chromium curl jq libgtest-dev libbenchmark-dev postgresql
  python3-pandas python3-matplotlib python3-pytest python3-setuptools python3-wheel python3-venv mypy"
kt_format_packages="clang-format"
# For the Debian packages, on top of the build packages; the last one is for their test.
kt_packaging_packages="dpkg-dev file debootstrap"
# A peer that ./run bench measures against, on top of the build packages.
kt_bench_packages="libmuparser-dev"
# For the presets "coverage" and "fuzz", on top of the build packages.
kt_clang_packages="clang llvm libclang-rt-14-dev jq"
# For the Windows presets, on top of the build packages; the last line is for their tests.
kt_windows_packages="g++-mingw-w64-x86-64-posix g++-mingw-w64-i686-posix dpkg-dev tcl
  wine wine64 wine64-tools libwine-dev googletest xvfb xauth xdotool imagemagick fonts-wine
  fonts-liberation"

kt_install() {
  missing=""
  for package in "$@"; do
    if ! dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null | grep -qx installed; then
      missing="$missing $package"
    fi
  done
  [ -n "$missing" ] || return 0
  as_root=""
  [ "$(id -u)" -eq 0 ] || as_root="sudo"
  echo "installing$missing" >&2
  # shellcheck disable=SC2086 # a list of packages
  { $as_root apt-get update -qq &&
    DEBIAN_FRONTEND=noninteractive $as_root apt-get install -y -qq --no-install-recommends $missing
  } >&2
}
