#!/usr/bin/env bash
# The tray app on a real panel, as a user meets it: xfce4-panel (on Xvfb, with xfwm4 and xfconf)
# or waybar's tray on sway (headless wlroots), dark or light, each inside its own session bus with
# a private home; or GNOME Shell with the AppIndicator extension as an X11 session on Xvfb; or, on
# demand (CORVANE_E2E_DESKTOPS=1: minutes to install, a minute a run), KDE Plasma on Xvfb.
#   1. the panel's StatusNotifierWatcher comes up; the app starts on the simulator (--demo) and
#      registers its item;
#   2. the icon is found in a screenshot of the panel (what differs from the panel without it) and
#      its ink must contrast with the panel by at least 3:1;
#   3. a right click opens the panel's own menu (a GTK host never says when that menu closes);
#      then a left click (GNOME: a double click) must still open the app's popup (on sway: a
#      window floating at its own size, not tiled over the output; on X11: clear of the panel);
#   4. a copy chosen in the panel's menu reaches the clipboard;
#   5. on Xfce the desktop's GTK theme is Adwaita-dark or Adwaita with the panel: the popup's
#      background must be as dark or light; and where python3-pyatspi is installed, the light run
#      reads the open popup with a screen reader's eyes (atspi-popup.py).
# Screenshots are kept in ARTIFACTS. sway refuses to run as root: as root the run goes to the
# ordinary user corvane-e2e (scripts/install-deps.sh creates it), and is skipped without one.
# Usage: panel-e2e.sh APP POINTER_TOOL xfce|sway|gnome|kde dark|light ARTIFACTS. Exit 77: skipped.
set -euo pipefail
app=$1 pointer=$2 host=$3 mode=$4 artifacts=$5
here=$(cd "$(dirname "$0")" && pwd)
need=(dbus-run-session dbus-send gdbus convert python3)
case $host in
  xfce) need+=(Xvfb xfce4-panel xfwm4 xfconf-query xdotool import xclip) ;;
  sway) need+=(sway waybar grim swaymsg wl-paste) ;;
  gnome) need+=(Xvfb gnome-shell gsettings gjs xdotool xclip) ;;
  kde) need+=(Xvfb kwin_x11 plasmashell xdotool xclip import) ;;
  *) echo "unknown host $host"; exit 2 ;;
esac
if [[ $host == kde && ${CORVANE_E2E_DESKTOPS:-} != 1 ]]; then
  echo "skipped: set CORVANE_E2E_DESKTOPS=1 to run the $host session"; exit 77
fi
[[ $host != gnome ]] || test -d /usr/share/gnome-shell/extensions/ubuntu-appindicators@ubuntu.com ||
  { echo "skipped: gnome-shell-extension-appindicator is not installed"; exit 77; }
for tool in "${need[@]}"; do command -v "$tool" >/dev/null || { echo "skipped: $tool is not installed"; exit 77; }; done
mkdir -p "$artifacts"

if [[ $host == sway ]]; then
  [[ -x $pointer ]] || { echo "skipped: no virtual-pointer tool (wayland-scanner, libwayland-dev)"; exit 77; }
fi
if [[ $host == sway && $(id -u) == 0 ]]; then
  id corvane-e2e >/dev/null 2>&1 || { echo "skipped: sway refuses root and there is no user corvane-e2e"; exit 77; }
  runuser -u corvane-e2e -- test -x "$app" -a -r "$0" ||
    { echo "skipped: corvane-e2e cannot reach $app (a build under a private folder)"; exit 77; }
  chmod a+rwx "$artifacts"
  exec runuser -u corvane-e2e -- env -i PATH="$PATH" LANG=C.UTF-8 bash "$0" "$@"
fi

work=$(mktemp -d)
pids=()
cleanup() {
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
  wait 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT
fail() {
  echo "FAIL ($host $mode): $*"
  echo "--- app stderr"; cat "$work/app.err" 2>/dev/null || true
  exit 1
}
waitFor() {
  local tenths=$(($1 * 10)); shift
  for ((i = 0; i < tenths; i++)); do "$@" && return 0; sleep 0.1; done
  return 1
}
export HOME=$work/home XDG_CONFIG_HOME=$work/config XDG_STATE_HOME=$work/state XDG_CACHE_HOME=$work/cache \
  XDG_DATA_HOME=$work/data XDG_RUNTIME_DIR=$work/run
mkdir -p "$HOME" "$XDG_CONFIG_HOME" "$XDG_STATE_HOME" "$XDG_CACHE_HOME" "$XDG_DATA_HOME" "$XDG_RUNTIME_DIR"
chmod 700 "$XDG_RUNTIME_DIR"
unset DBUS_SESSION_BUS_ADDRESS WAYLAND_DISPLAY DISPLAY CORVANE_MENUBAR_ENV CORVANE_CLI_PATH SWAYSOCK
export ASAN_OPTIONS="${ASAN_OPTIONS:+$ASAN_OPTIONS:}detect_leaks=0"
# No accessibility bus: it costs a second of every start.
export LANG=C.UTF-8 NO_AT_BRIDGE=1 QT_SCALE_FACTOR=1
width=1280 height=800 bar=26 barY=0
# The part of the bar searched for the icon: clear of a clock, whose minute may turn meanwhile.
searchX=0 searchWidth=$width
case $host in
  gnome) bar=32 searchX=800 searchWidth=480 ;;
  kde) bar=44 barY=$((height - 44)) searchX=600 searchWidth=530 ;;
esac

if [[ $host == xfce ]]; then
  # One panel along the top: a spacer and the tray (no clock: a minute turning over would read as
  # the icon).
  panel=$XDG_CONFIG_HOME/xfce4/xfconf/xfce-perchannel-xml
  mkdir -p "$panel"
  cat >"$panel/xfce4-panel.xml" <<XML
<?xml version="1.0" encoding="UTF-8"?>
<channel name="xfce4-panel" version="1.0">
  <property name="configver" type="int" value="2"/>
  <property name="panels" type="array">
    <value type="int" value="1"/>
    <property name="dark-mode" type="bool" value="$([[ $mode == dark ]] && echo true || echo false)"/>
    <property name="panel-1" type="empty">
      <property name="position" type="string" value="p=6;x=0;y=0"/>
      <property name="length" type="uint" value="100"/>
      <property name="position-locked" type="bool" value="true"/>
      <property name="size" type="uint" value="$bar"/>
      <property name="plugin-ids" type="array"><value type="int" value="1"/><value type="int" value="2"/></property>
    </property>
  </property>
  <property name="plugins" type="empty">
    <property name="plugin-1" type="string" value="separator"><property name="expand" type="bool" value="true"/><property name="style" type="uint" value="0"/></property>
    <property name="plugin-2" type="string" value="systray"/>
  </property>
</channel>
XML
  # The desktop's theme, which the app's own popup follows (xfconf serves this channel).
  cat >"$panel/xsettings.xml" <<XML
<?xml version="1.0" encoding="UTF-8"?>
<channel name="xsettings" version="1.0">
  <property name="Net" type="empty">
    <property name="ThemeName" type="string" value="$([[ $mode == dark ]] && echo Adwaita-dark || echo Adwaita)"/>
  </property>
</channel>
XML
  if [[ $mode == light ]] && /usr/bin/python3 -c 'import pyatspi' 2>/dev/null; then
    unset NO_AT_BRIDGE
    export QT_LINUX_ACCESSIBILITY_ALWAYS_ON=1 ATSPI=1
  fi
  Xvfb -displayfd 3 -screen 0 ${width}x${height}x24 -nolisten tcp 3>"$work/display" 2>"$work/xvfb.err" &
  pids+=($!)
  waitFor 10 test -s "$work/display" || fail "Xvfb did not start"
  export DISPLAY=:$(cat "$work/display") XDG_CURRENT_DESKTOP=XFCE QT_QPA_PLATFORM=xcb
elif [[ $host == gnome || $host == kde ]]; then
  if [[ $host == kde ]]; then
    if [[ $mode == dark ]]; then scheme=BreezeDark theme=breeze-dark; else scheme=BreezeLight theme=default; fi
    printf '[General]\nColorScheme=%s\n' $scheme >"$XDG_CONFIG_HOME/kdeglobals"
    printf '[Theme]\nname=%s\n' $theme >"$XDG_CONFIG_HOME/plasmarc"
  fi
  Xvfb -displayfd 3 -screen 0 ${width}x${height}x24 -nolisten tcp 3>"$work/display" 2>"$work/xvfb.err" &
  pids+=($!)
  waitFor 10 test -s "$work/display" || fail "Xvfb did not start"
  export DISPLAY=:$(cat "$work/display") QT_QPA_PLATFORM=xcb XDG_SESSION_TYPE=x11
  if [[ $host == gnome ]]; then
    export XDG_CURRENT_DESKTOP=GNOME
  else
    # Software drawing: kwin's compositing on Xvfb would leave the root window black.
    export XDG_CURRENT_DESKTOP=KDE KDE_FULL_SESSION=true KDE_SESSION_VERSION=5 KWIN_COMPOSE=N
  fi
  # GNOME Shell asks logind on the system bus at start; a private bus stands in for it.
  dbus-daemon --session --address="unix:path=$work/system-bus" --fork --print-pid >"$work/system-bus.pid"
  pids+=($(cat "$work/system-bus.pid"))
  export DBUS_SYSTEM_BUS_ADDRESS="unix:path=$work/system-bus"
else
  mkdir -p "$XDG_CONFIG_HOME/sway" "$XDG_CONFIG_HOME/waybar"
  printf 'output HEADLESS-1 resolution %sx%s bg #808080 solid_color\ndefault_border none\nbar {\n  swaybar_command waybar\n}\n' \
    $width $height >"$XDG_CONFIG_HOME/sway/config"
  printf '{ "layer": "top", "position": "top", "height": %s, "modules-right": ["tray"], "tray": { "icon-size": 16 } }\n' \
    $bar >"$XDG_CONFIG_HOME/waybar/config"
  if [[ $mode == dark ]]; then colours='background: #202226; color: #e0e0e0;'; else colours='background: #f0f0f0; color: #202020;'; fi
  printf '* { font-family: sans-serif; font-size: 13px; }\nwindow#waybar { %s }\n#tray { padding: 0 8px; }\n' \
    "$colours" >"$XDG_CONFIG_HOME/waybar/style.css"
  export WLR_BACKENDS=headless WLR_LIBINPUT_NO_DEVICES=1 WLR_RENDERER=pixman QT_QPA_PLATFORM=wayland XDG_CURRENT_DESKTOP=sway
fi

export APP=$app POINTER=$pointer HOST=$host MODE=$mode WORK=$work ARTIFACTS=$artifacts WIDTH=$width BAR=$bar BAR_Y=$barY \
  SEARCH_X=$searchX SEARCH_WIDTH=$searchWidth HERE=$here
dbus-run-session -- bash "$here/panel-e2e-session.sh" || exit $?
