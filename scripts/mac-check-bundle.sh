#!/usr/bin/env bash
# Usage: scripts/mac-check-bundle.sh BUILD_DIR        (macOS only)
# Checks the Corvane.app that BUILD_DIR holds as a user's Mac would meet it: the signature verifies
# strictly and carries the Apple Events entitlement, the Info.plist is valid and marks an accessory
# app with the Automation text and a copyright, and the executable loads nothing from Homebrew (a
# user has no Homebrew libraries). One line per check; exits 1 at the first failure.
set -euo pipefail
build=${1:?usage: mac-check-bundle.sh BUILD_DIR}
app=$(find "$build" -maxdepth 4 -name Corvane.app -type d | head -n 1)
[[ -n $app ]] || { echo "no Corvane.app under $build" >&2; exit 1; }
plist=$app/Contents/Info.plist
exe=$app/Contents/MacOS/Corvane
fail() { echo "FAIL $*" >&2; exit 1; }

codesign --verify --strict --verbose=2 "$app" || fail "codesign --verify --strict $app"
echo "ok   signature verifies (strict)"
codesign --display --entitlements - --xml "$app" 2>/dev/null | grep -q 'com.apple.security.automation.apple-events' ||
  fail "the signature has no com.apple.security.automation.apple-events entitlement"
echo "ok   Apple Events entitlement signed in"
plutil -lint "$plist" || fail "plutil -lint $plist"
[[ $(plutil -extract LSUIElement raw -o - "$plist") == true ]] || fail "LSUIElement is not true"
echo "ok   LSUIElement: an accessory app"
for key in NSAppleEventsUsageDescription NSHumanReadableCopyright CFBundleIconFile; do
  value=$(plutil -extract "$key" raw -o - "$plist" 2>/dev/null) || fail "$key is missing"
  [[ -n $value ]] || fail "$key is empty"
  echo "ok   $key: $value"
done
icon=$(plutil -extract CFBundleIconFile raw -o - "$plist")
[[ -s $app/Contents/Resources/${icon%.icns}.icns ]] || fail "the icon $icon is not in Contents/Resources"
echo "ok   icon in the bundle"
brew_prefix=$(brew --prefix 2>/dev/null || echo /opt/homebrew)
if otool -L "$exe" | tail -n +2 | grep -E "$brew_prefix|/opt/homebrew|/usr/local/(Cellar|opt|lib)"; then
  fail "the executable loads Homebrew libraries (above)"
fi
echo "ok   no Homebrew library in otool -L"
echo "Corvane.app: bundle checks passed ($app)"
