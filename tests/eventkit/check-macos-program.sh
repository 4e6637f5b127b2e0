#!/bin/sh
# Checks on a Mac what a built program carries for the system: check-macos-program.sh PROGRAM
set -u

program=$1
failed=0

# expect WHAT TEXT COMMAND…: the command's output must hold the text.
expect() {
    what=$1
    text=$2
    shift 2
    output=$("$@" 2>&1)
    case $output in
    *"$text"*) printf 'ok: %s\n' "$what" ;;
    *)
        printf 'WRONG: %s: "%s" is not in\n%s\n' "$what" "$text" "$output"
        failed=1
        ;;
    esac
}

plist=$(mktemp) || exit
trap 'rm -f "$plist"' EXIT
launchctl plist "$program" >"$plist"

expect "built for Apple silicon" arm64 lipo -archs "$program"
expect "runs from macOS 14 on" "minos 14.0" vtool -show-build "$program"
expect "the usage text is embedded" NSCalendarsFullAccessUsageDescription cat "$plist"
expect "the identifier is embedded" org.quenbrook.quenbrook cat "$plist"
expect "the signature is whole" "satisfies its Designated Requirement" \
    codesign --verify --strict --verbose=2 "$program"
expect "the signature binds the Info.plist" "Info.plist entries=" \
    codesign --display --verbose=2 "$program"
expect "the hardened runtime is on" "runtime" codesign --display --verbose=2 "$program"
expect "the calendar entitlement is signed" com.apple.security.personal-information.calendars \
    codesign --display --entitlements - "$program"
# Libraries of others, which the hardened runtime loads only where it is told to.
foreign=$(otool -L "$program" | sed -n 's/^[[:space:]]*\(\/[^ ]*\) (.*/\1/p' |
    grep -v -e '^/usr/lib/' -e '^/System/')
exempt=$(codesign --display --entitlements - "$program" 2>&1 | grep disable-library-validation)
if [ -n "$foreign" ] && [ -z "$exempt" ]; then
    printf 'WRONG: it may not load\n%s\n' "$foreign"
    failed=1
elif [ -z "$foreign" ] && [ -n "$exempt" ]; then
    echo "WRONG: it may load libraries of others, and needs none"
    failed=1
else
    echo "ok: it may load what it needs and no more"
fi

expect "it starts, libraries and all" '"code":"UNKNOWN_SUBCOMMAND"' "$program"

exit $failed
