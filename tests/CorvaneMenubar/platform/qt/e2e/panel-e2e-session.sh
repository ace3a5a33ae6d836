#!/usr/bin/env bash
# The part of panel-e2e.sh that runs inside the private session bus (see there).
set -euo pipefail
[[ -z ${E2E_TRACE:-} ]] || set -x
pids=()
cleanup() {
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
  [[ $HOST == sway && -n ${SWAYSOCK:-} ]] && swaymsg exit >/dev/null 2>&1 || true
  wait 2>/dev/null || true
}
trap cleanup EXIT
fail() {
  echo "FAIL ($HOST $MODE): $*"
  echo "--- app stderr"; cat "$WORK/app.err" 2>/dev/null || true
  exit 1
}
waitFor() {
  local tenths=$(($1 * 10)); shift
  for ((i = 0; i < tenths; i++)); do "$@" && return 0; sleep 0.1; done
  return 1
}
now() { date +%s%N; }
ms() { echo $((($(now) - $1) / 1000000)); }
watcherUp() {
  dbus-send --session --print-reply --dest=org.freedesktop.DBus / org.freedesktop.DBus.NameHasOwner \
    string:org.kde.StatusNotifierWatcher 2>/dev/null | grep -q true
}
itemRegistered() {
  dbus-send --session --print-reply --dest=org.kde.StatusNotifierWatcher /StatusNotifierWatcher \
    org.freedesktop.DBus.Properties.Get string:org.kde.StatusNotifierWatcher string:RegisteredStatusNotifierItems \
    2>/dev/null | grep -q 'string "'
}
x11() { [[ $HOST != sway ]]; }
shot() {
  case $HOST in
    sway) grim "$1" ;;
    # GNOME Shell draws with OpenGL: the X root window stays black, the shell itself takes it.
    gnome) gjs "$HERE/gnome-screenshot.js" "$1" || fail "GNOME Shell took no screenshot" ;;
    *) import -window root "$1" ;;
  esac
}
click() {  # x y button(1 left, 3 right)
  if x11; then xdotool mousemove "$1" "$2" click "$3"; else "$POINTER" "$1" "$2" "$3"; fi
}
dismiss() { if x11; then xdotool key Escape; else "$POINTER" 40 400 1; fi; }
# The app's popup: on X11 its largest visible window, on sway its toplevel; prints WxH (X11:
# WxH+X+Y).
popupSize() {
  if x11; then
    local window best="" WINDOW X Y WIDTH HEIGHT SCREEN
    for window in $(xdotool search --onlyvisible --classname '^corvane-menubar$' 2>/dev/null); do
      eval "$(xdotool getwindowgeometry --shell "$window")"
      ((WIDTH > 100 && HEIGHT > 100)) && best="${WIDTH}x${HEIGHT}+${X}+${Y}"
    done
    [[ -n $best ]] && echo "$best"
  else
    swaymsg -t get_tree 2>/dev/null | python3 -c '
import json, sys
def walk(node, floating=False):
    if node.get("app_id") == "com.usecorvane.Menubar" and node.get("visible"):
        print("%dx%d%s" % (node["rect"]["width"], node["rect"]["height"], "" if floating else " tiled"))
        sys.exit(0)
    for child in node.get("nodes", []): walk(child, floating)
    for child in node.get("floating_nodes", []): walk(child, True)
walk(json.load(sys.stdin))
sys.exit(1)'
  fi
}

started=$(now)
if [[ $HOST == xfce ]]; then
  xfwm4 --compositor=off >"$WORK/xfwm4.log" 2>&1 &
  pids+=($!)
  xfce4-panel >"$WORK/panel.log" 2>&1 &
  pids+=($!)
elif [[ $HOST == gnome ]]; then
  gsettings set org.gnome.shell enabled-extensions "['ubuntu-appindicators@ubuntu.com']"
  gsettings set org.gnome.desktop.interface color-scheme "$([[ $MODE == dark ]] && echo prefer-dark || echo default)"
  gnome-shell --x11 --replace >"$WORK/shell.log" 2>&1 &
  pids+=($!)
elif [[ $HOST == kde ]]; then
  kwin_x11 >"$WORK/kwin.log" 2>&1 &
  pids+=($!)
  plasmashell >"$WORK/plasma.log" 2>&1 &
  pids+=($!)
else
  sway >"$WORK/sway.log" 2>&1 &
  pids+=($!)
  waitFor 10 bash -c 'ls "$XDG_RUNTIME_DIR"/wayland-? >/dev/null 2>&1' || fail "sway did not start"
  export WAYLAND_DISPLAY=$(basename "$(ls "$XDG_RUNTIME_DIR"/wayland-? | head -1)")
  export SWAYSOCK=$(ls "$XDG_RUNTIME_DIR"/sway-ipc.*.sock)
fi
waitFor 60 watcherUp || fail "the panel's StatusNotifierWatcher did not come up"
echo "panel: watcher up after $(ms "$started") ms"
case $HOST in
  gnome) sleep 4; xdotool key Escape; sleep 1 ;;  # GNOME starts in its overview
  kde) sleep 6 ;;
  *) sleep 1 ;;  # drawn
esac
shot "$WORK/panel.png"

launched=$(now)
"$APP" --demo >"$WORK/app.out" 2>"$WORK/app.err" &
appPid=$!
pids+=($appPid)
waitFor 10 itemRegistered || fail "the app registered no StatusNotifierItem"
echo "app: item registered after $(ms "$launched") ms"
sleep 2  # the icon drawn, the demo's first poll landed
shot "$ARTIFACTS/panel.png"

# The icon: what differs from the panel without it, within the bar. An icon drawn in (almost) the
# panel's own colour is not found at all.
box=$(convert "$WORK/panel.png" "$ARTIFACTS/panel.png" -crop "${SEARCH_WIDTH}x${BAR}+${SEARCH_X}+${BAR_Y}" +repage \
  -compose difference -composite -threshold 12% -trim -format '%wx%h%X%Y' info: 2>/dev/null)
read -r w h x y < <(echo "$box" | tr 'x+' '  ')
x=$((x + SEARCH_X)) y=$((y + BAR_Y))
# Plasma's tray redraws its other items as a new one comes in at their left: the icon is the
# square at the left of what changed.
[[ $HOST != kde ]] || w=$((w < h ? w : h))
((w >= 6 && h >= 6 && w <= 64)) || fail "no icon stands out from the panel (difference box $box)"
convert "$ARTIFACTS/panel.png" -crop "$((w + 16))x${BAR}+$((x - 8))+${BAR_Y}" +repage -scale 400% "$ARTIFACTS/icon.png"
contrast=$(python3 - "$ARTIFACTS/panel.png" "${w}x${h}+${x}+${y}" "$((x - 6))" "$((y + h / 2))" <<'PY'
import re, subprocess, sys
shot, box, bx, by = sys.argv[1], sys.argv[2], sys.argv[3], sys.argv[4]
def pixels(geometry):
    text = subprocess.run(["convert", shot, "-crop", geometry, "+repage", "txt:-"], capture_output=True, text=True).stdout
    return [tuple(int(v) for v in m.groups()) for m in re.finditer(r"\((\d+),(\d+),(\d+)", text)]
def luminance(colour):
    def channel(v):
        v /= 255
        return v / 12.92 if v <= 0.03928 else ((v + 0.055) / 1.055) ** 2.4
    r, g, b = (channel(v) for v in colour)
    return 0.2126 * r + 0.7152 * g + 0.0722 * b
def ratio(a, b):
    high, low = sorted((luminance(a), luminance(b)), reverse=True)
    return (high + 0.05) / (low + 0.05)
panel = pixels(f"1x1+{bx}+{by}")[0]
# The ink: the icon's pixel that stands out most (its anti-aliased edges stand out less).
ink = max(pixels(box), key=lambda c: ratio(c, panel))
print("%.2f panel #%02x%02x%02x ink #%02x%02x%02x" % ((ratio(ink, panel),) + panel + ink))
PY
)
echo "icon: ${w}x${h}+${x}+${y}, contrast $contrast"
python3 -c "import sys; sys.exit(0 if float('${contrast%% *}') >= 3 else 1)" ||
  fail "the icon contrasts with the panel by only ${contrast} (at least 3:1 wanted; see $ARTIFACTS/icon.png)"

cx=$((x + w / 2)) cy=$((y + h / 2))
# The panel's own menu first: GTK hosts never say it closed.
click $cx $cy 3
if x11 && [[ $HOST != xfce ]]; then sleep 3; else sleep 1.2; fi  # Plasma and GNOME fetch the menu first
shot "$ARTIFACTS/panel-menu.png"
dismiss
sleep 0.6
! popupSize >/dev/null || fail "the panel's menu opened the app's popup"
# GNOME's AppIndicator extension shows its own menu on a single click, and activates the item on
# a double click only.
if [[ $HOST == gnome ]]; then xdotool mousemove $cx $cy click --repeat 2 --delay 80 1; else click $cx $cy 1; fi
waitFor 5 popupSize >/dev/null || fail "after the panel's menu, a left click opened no popup"
sleep 0.8  # painted
shot "$ARTIFACTS/popup.png"
size=$(popupSize)
echo "popup after the panel's menu: $size"
[[ $size != *tiled* ]] || fail "the popup window was tiled over the output ($size)"
if x11; then
  # Clear of the panel: below a top bar, above a bottom panel.
  read -r pw ph px py < <(echo "$size" | tr 'x+' '  ')
  if ((BAR_Y == 0)); then ((py >= BAR)) || fail "the popup covers the top bar ($size)"
  else ((py + ph <= BAR_Y)) || fail "the popup covers the bottom panel ($size; the panel starts at y=$BAR_Y)"; fi
fi
kill -0 "$appPid" || fail "the app ended"

if [[ $HOST == xfce ]]; then
  # The popup's own background, left of its rows' texts: as dark or light as the desktop's theme.
  window=$(for w in $(xdotool search --onlyvisible --classname '^corvane-menubar$'); do
    eval "$(xdotool getwindowgeometry --shell "$w")"; ((WIDTH > 100 && HEIGHT > 100)) && echo "$X $Y"; done | tail -1)
  read -r px py <<<"$window"
  shade=$(convert "$ARTIFACTS/popup.png" -crop "6x200+$((px + 4))+$((py + 4))" +repage -colorspace Gray -format '%[fx:mean]' info:)
  echo "popup background: mean grey $shade ($MODE desktop)"
  if [[ $MODE == dark ]]; then python3 -c "import sys; sys.exit(0 if $shade < 0.35 else 1)" || fail "a light popup on a dark desktop"
  else python3 -c "import sys; sys.exit(0 if $shade > 0.65 else 1)" || fail "a dark popup on a light desktop"; fi
  if [[ -n ${ATSPI:-} ]]; then
    /usr/bin/python3 "$(dirname "$0")/atspi-popup.py" >"$ARTIFACTS/atspi.txt" 2>&1 ||
      { cat "$ARTIFACTS/atspi.txt"; fail "a screen reader cannot read every row of the popup"; }
    tail -1 "$ARTIFACTS/atspi.txt"
  fi
fi
# A copy chosen in the panel's menu: the host's "clicked" arrives over D-Bus while no surface of
# the app has the focus (on Wayland the toolkit's clipboard then keeps the old contents).
dismiss
sleep 0.6
item=$(gdbus call --session --dest org.kde.StatusNotifierWatcher --object-path /StatusNotifierWatcher \
  --method org.freedesktop.DBus.Properties.Get org.kde.StatusNotifierWatcher RegisteredStatusNotifierItems |
  grep -o "'[^']*'" | head -1 | tr -d "'")
# "service/path"; GNOME's watcher lists "service@/path".
service=${item%%/*} itemPath=/${item#*/}
service=${service%@}
[[ $item == */* ]] || itemPath=/StatusNotifierItem
menuPath=$(gdbus call --session --dest "$service" --object-path "$itemPath" \
  --method org.freedesktop.DBus.Properties.Get org.kde.StatusNotifierItem Menu | grep -o "'/[^']*'" | tr -d "'")
gdbus call --session --dest "$service" --object-path "$menuPath" --method com.canonical.dbusmenu.GetLayout -- 0 -1 '[]' \
  >"$WORK/layout.txt" || fail "the panel's menu did not answer GetLayout"
copyId=$(python3 -c '
import re, sys
found = re.search(r"\((\d+), \{[^{}]*?'"'label'"': <'"'Copy [Dd]iagnostics"'", open(sys.argv[1]).read())
print(found.group(1) if found else "")' "$WORK/layout.txt")
[[ -n $copyId ]] || { cp "$WORK/layout.txt" "$ARTIFACTS/"; fail "the panel's menu has no Copy Diagnostics row (see layout.txt)"; }
gdbus call --session --dest "$service" --object-path "$menuPath" --method com.canonical.dbusmenu.Event \
  "$copyId" clicked '<int32 0>' 0 >/dev/null
pasted() { if [[ $HOST != sway ]]; then xclip -selection clipboard -o 2>/dev/null; else wl-paste -n 2>/dev/null; fi; }
waitFor 5 bash -c "$(declare -f pasted); HOST=$HOST; pasted | grep -q '^Corvane menu bar app'" ||
  fail "a copy from the panel's menu did not reach the clipboard (it holds: $(pasted | head -c 80))"
echo "clipboard: the panel's Copy Diagnostics reached it"
