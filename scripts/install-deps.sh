#!/usr/bin/env bash
# Installs what building and testing need, from the system package manager only.
set -euo pipefail

if [[ "$(uname -s)" == "Darwin" ]]; then
  command -v brew >/dev/null || { echo "Homebrew is needed: https://brew.sh" >&2; exit 1; }
  # Apple's clang, the SDK and codesign come with the Command Line Tools (or Xcode).
  xcode-select -p >/dev/null 2>&1 || { echo "The Xcode Command Line Tools are needed: xcode-select --install" >&2; exit 1; }
  for formula in cmake ninja nlohmann-json googletest google-benchmark; do
    brew list --versions "$formula" >/dev/null 2>&1 || brew install "$formula"
  done
  exit 0
fi

packages=(cmake ninja-build g++ clang libclang-rt-14-dev googletest libgtest-dev libgmock-dev
          libbenchmark-dev nlohmann-json3-dev
          # The macOS shell's Objective-C++ syntax check.
          libgnustep-gui-dev libobjc-12-dev libblocksruntime-dev
          # The check of the GitHub workflows.
          python3-yaml
          # The Qt desktop shell, its package and its end-to-end runs on a real X server.
          qt6-base-dev qt6-svg-dev libxcb1-dev desktop-file-utils dpkg-dev fonts-dejavu-core
          xvfb xauth trayer xdotool xclip imagemagick x11-utils dbus dbus-x11
          # Real panels for the end-to-end runs: xfce4-panel on Xvfb, waybar's tray on headless sway
          # (with a small virtual-pointer client built from wayland-scanner's output).
          xfce4-panel xfwm4 xfconf sway waybar grim qt6-wayland libwayland-dev pkg-config
          # The panel menu's copy on Wayland (wl-copy), its check (wl-paste) and D-Bus calls (gdbus).
          wl-clipboard libglib2.0-bin
          # GNOME Shell with the AppIndicator extension, an X11 session on Xvfb (gjs: its screenshots).
          gnome-shell gnome-shell-extension-appindicator gjs)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if ((${#missing[@]})); then
  echo "Installing: ${missing[*]}"
  sudo=""
  [[ $(id -u) -eq 0 ]] || sudo="sudo"
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi

# sway refuses to run as root: a build and test run as root hands the sway end-to-end runs to this
# ordinary account (no password, no login shell).
if [[ $(id -u) -eq 0 ]] && ! id corvane-e2e >/dev/null 2>&1; then
  useradd --system --create-home --shell /usr/sbin/nologin corvane-e2e
fi
