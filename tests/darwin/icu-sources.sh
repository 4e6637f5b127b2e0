#!/bin/bash
# Brings the sources of the ICU whose headers are installed, Debian's changes in them:
# icu-sources.sh FOLDER. Leaves a folder alone that has them.
#
# Nothing of apt's own set-up is changed: the sources are looked for where the packages come from, with
# lists that are gone afterwards.
set -eu

version=$(dpkg-query -W -f='${source:Version}' libicu-dev)
[ "$(cat "$1/version" 2>/dev/null)" != "$version" ] || exit 0

rm -rf "$1"
mkdir -p "$1/apt/lists/partial" "$1/apt/archives/partial"
cd "$1"
folder=$(pwd -P)
options=(-o "Dir::Etc::SourceList=$folder/apt/sources.list" -o Dir::Etc::SourceParts=-
    -o "Dir::State::Lists=$folder/apt/lists" -o "Dir::Cache=$folder/apt" -o APT::Sandbox::User=)

keyring=/usr/share/keyrings/debian-archive-keyring.gpg
[ ! -f "$keyring" ] || signed="[signed-by=$keyring]"

# shellcheck disable=SC2016
apt-get indextargets --format '$(REPO_URI) $(RELEASE) $(COMPONENT)' 'Created-By: Packages' |
    sort -u >apt/repositories
# One archive after the other: some mirrors keep no sources in one of them.
while read -r archive; do
    echo "deb-src ${signed:-} $archive" >apt/sources.list
    if apt-get "${options[@]}" update && apt-get "${options[@]}" source "icu=$version"; then
        mv icu-*/source/common icu-*/source/i18n .
        rm -rf apt icu-* icu_*
        echo "$version" >version
        exit 0
    fi
done <apt/repositories
echo "no archive has the sources of ICU $version" >&2
exit 1
