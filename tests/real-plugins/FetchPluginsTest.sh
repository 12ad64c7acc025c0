#!/bin/bash
# What scripts/fetch-plugins makes of a download that fails: FetchPluginsTest.sh SCRIPT. If this fails, a machine
# without a network can't test, or a machine with one passes without a single real plug-in.
#
# An apt-get of its own says what apt says.
set -euo pipefail

script=$1
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
mkdir "$directory/bin"
cat >"$directory/bin/apt-get" <<'END'
#!/bin/bash
for word; do
    case $word in
    update) echo "$UPDATE_SAYS" && exit 0 ;;
    install) echo "$INSTALL_SAYS" && exit 100 ;;
    esac
done
END
chmod +x "$directory/bin/apt-get"

failed=0
# expect STATUS NAME UPDATE-SAYS INSTALL-SAYS
expect() {
    local status=0
    PATH=$directory/bin:$PATH UPDATE_SAYS=$3 INSTALL_SAYS=$4 "$script" "$directory/fetched" 2>"$directory/errors" ||
        status=$?
    if [ $status != "$1" ] || [ "$(wc -l <"$directory/errors")" != 1 ]; then
        echo "$2: status $status and not $1: $(cat "$directory/errors")"
        failed=1
    fi
}

index='W: Failed to fetch http://deb.debian.org/debian/dists/bookworm/InRelease '
other='W: Failed to fetch http://deb.debian.org/debian/dists/bookworm-updates/InRelease '
package='E: Failed to fetch http://deb.debian.org/debian/pool/main/a/amsynth/amsynth_1.13.2-1_i386.deb '
unknown='E: Unable to locate package amsynth'

expect 75 "no name server" "$index Temporary failure resolving 'deb.debian.org'" "$unknown"
expect 75 "no route" "$index Cannot initiate the connection to deb.debian.org:80 (::1). - connect (101: Network is unreachable)" "$unknown"
expect 75 "a silent network" "$index Could not connect to deb.debian.org:80 (10.0.0.1), connection timed out" "$unknown"
expect 75 "two sources that aren't reached" "$index Could not connect to 127.0.0.1:1 (127.0.0.1). - connect (111: Connection refused)
$other Unable to connect to 127.0.0.1:1:" "$unknown"
expect 75 "a network that is lost during the download" "" "$package Temporary failure resolving 'deb.debian.org'"
expect 1 "a source that is no more" "$index 404  Not Found [IP: 10.0.0.1 80]" "$unknown"
expect 1 "one source that isn't reached and one that refuses" "$index 403  Forbidden [IP: 10.0.0.1 80]
$other Temporary failure resolving 'deb.debian.org'" "$unknown"
expect 1 "a package that isn't there" "" "$unknown"
expect 1 "a damaged package" "" "$package Hash Sum mismatch"
expect 1 "an apt that says nothing" "" ""
[ $failed = 0 ] && echo passed
