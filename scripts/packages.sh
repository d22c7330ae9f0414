# Installs the Debian packages that the project needs; sourced by ./run and
# ./test. Only what is missing is installed, and said first.

BUILD_PACKAGES="g++ cmake ninja-build pkg-config git ccache mold
  libsqlite3-dev libssl-dev libjsoncpp-dev libicu-dev libcurl4-openssl-dev libvips-dev libheif-dev libexif-dev libraw-dev
  libavformat-dev libavcodec-dev libswscale-dev libavutil-dev libspdlog-dev libcli11-dev libboost1.81-dev
  libsodium-dev libxxhash-dev libmediainfo0v5 libvlc-dev
  qt6-base-dev libxcb1-dev qt6-svg-dev libqt6svg6 qt6-qpa-plugins fonts-inter fonts-noto-core"
RUN_PACKAGES="qt6-wayland fonts-noto-cjk vlc-plugin-base libvlc-bin"
TEST_PACKAGES="libgtest-dev libgmock-dev libbenchmark-dev libimage-exiftool-perl sqlite3 openssl curl python3
  dbus-daemon xvfb xdotool ffmpeg vlc-plugin-base libvlc-bin clang-format"
# Only on a machine that checks changes: they begin to serve when they are installed.
PROXY_PACKAGES="nginx-light haproxy"
ANALYSIS_PACKAGES="clang-16 clang-tidy-16 libclang-rt-16-dev"
DESKTOP_TEST_PACKAGES="python3-pyatspi at-spi2-core xdotool imagemagick weston qt6-wayland"

install_packages() {
  missing=""
  for package in "$@"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing="$missing $package"
  done
  [ -z "$missing" ] && return 0
  as_root=""
  if [ "$(id -u)" != 0 ]; then
    if ! command -v sudo >/dev/null; then
      echo "These packages are missing and neither root nor sudo is here to install them:$missing" >&2
      return 1
    fi
    as_root="sudo"
  fi
  echo "Installing:$missing"
  $as_root apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $as_root apt-get install -y -qq --no-install-recommends $missing >/dev/null
}

# build PRESET [TARGET...]: configures when needed and builds what changed.
build() {
  preset="$1"
  shift
  [ -f "build/$preset/build.ninja" ] || cmake --preset "$preset" >"build-$preset.log" 2>&1 || {
    cat "build-$preset.log"
    return 1
  }
  rm -f "build-$preset.log"
  ninja -C "build/$preset" "$@"
}
