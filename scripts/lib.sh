# Shared by the scripts beside it; to be sourced. Works from the top of the source tree.
# shellcheck shell=bash

build_packages=(g++ cmake ninja-build pkg-config ccache git libgtk-3-dev libwebkit2gtk-4.1-dev libx11-dev
  libpcre2-dev libssl-dev libcurl4-openssl-dev)
run_packages=(xvfb dbus procps fonts-dejavu-core)
test_packages=(libxtst-dev libgtest-dev libgmock-dev libbenchmark-dev dbus-x11 icewm xdotool wmctrl x11-utils
  x11-xserver-utils imagemagick locales shellcheck clang-format clang-tidy chromium zsh clangd
  bubblewrap openssl python3 desktop-file-utils xdg-utils gh)
packaging_packages=(librsvg2-bin binutils python3 dpkg-dev rpm makepkg libarchive-tools fakeroot zstd
  squashfs-tools libsquashfuse-dev libfuse3-dev liblz4-dev libzstd-dev liblzma-dev zlib1g-dev)
package_test_packages=(mmdebstrap pacman-package-manager fuse3 lintian appstream desktop-file-utils bubblewrap
  openssl)

say() { printf '== %s\n' "$*"; }

# The machine's own node serves when it is new enough for the page's tests.
node_packages() {
  if command -v node >/dev/null && command -v npm >/dev/null &&
    [ "$(node -p 'Number(process.versions.node.split(".")[0]) >= 18')" = true ]; then
    return
  fi
  echo nodejs npm
}

# Installs those of the named Debian packages that are missing, as root or through sudo.
ensure_packages() {
  local missing=() package
  for package in "$@"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q '^install ok installed' ||
      missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && return
  say "installing Debian packages: ${missing[*]}"
  local as_root=()
  [ "$(id -u)" -eq 0 ] || as_root=(sudo)
  "${as_root[@]}" apt-get update -qq
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}

# Configures and builds one preset of CMakePresets.json; further words are targets.
build_preset() {
  local preset=$1
  shift
  say "building: $preset"
  cmake --preset "$preset" >"/tmp/marlin-cmake-$$.log" 2>&1 || {
    cat "/tmp/marlin-cmake-$$.log"
    rm -f "/tmp/marlin-cmake-$$.log"
    return 1
  }
  rm -f "/tmp/marlin-cmake-$$.log"
  cmake --build --preset "$preset" ${1:+--target "$@"}
}
