# Sourced by the other scripts, which set -euo pipefail and run in the top folder.
# shellcheck shell=bash

fail() { # MESSAGE: prints it to standard error after the name of the script
    printf '%s: %s\n' "${0##*/}" "$1" >&2
    exit 1
}

show_help() { # prints the comment at the top of the script
    sed -n '2,/^[^#]/s/^# \{0,1\}//p' "$(dirname "${BASH_SOURCE[0]}")/${0##*/}"
}

list_files() { # PATTERN...: the tracked files, each followed by a zero byte
    git -c safe.directory="$PWD" ls-files -z "$@"
}

# Polls, because the things that we wait for give no notice.
wait_until() { # SECONDS COMMAND...
    local deadline=$((${EPOCHREALTIME//[!0-9]/} + $1 * 1000000))
    until "${@:2}"; do
        ((${EPOCHREALTIME//[!0-9]/} < deadline)) || return 1
        sleep 0.02
    done
}

quietly() { # LOG COMMAND...: shows the output only if the command fails
    "${@:2}" >"$1" 2>&1 || {
        cat "$1" >&2
        fail "failed: ${*:2}"
    }
}

progress() { # LABEL: on a terminal, shows the last line of standard input
    local line
    if [[ -t 1 ]]; then
        while IFS= read -r line; do
            printf '\r\e[K%s: %.60s' "$1" "$line"
        done
        printf '\r\e[K'
    else
        printf '%s\n' "$1"
        cat >/dev/null
    fi
}

retry() { # COMMAND...: up to three times, for a download
    "$@" || { sleep 5 && "$@"; } || { sleep 5 && "$@"; }
}

is_installed() { # PACKAGE
    [[ $(dpkg-query -W -f '${db:Status-Status}' "$1" 2>&1) == installed ]]
}

install_packages() ( # PACKAGE...: a subshell, so that the trap is local
    policy=/usr/sbin/policy-rc.d
    if [[ ! -e $policy ]]; then
        trap 'rm -f "$policy"' EXIT
        # We need only the program of the web server: its service must not start.
        install -m 755 /dev/stdin "$policy" <<<$'#!/bin/sh\nexit 101'
    fi
    export DEBIAN_FRONTEND=noninteractive
    command=(apt-get -o Acquire::Retries=3 install -y --no-install-recommends "$@")
    "${command[@]}" || { apt-get -o Acquire::Retries=3 update && "${command[@]}"; } || exit
    if [[ " $* " == *" nginx "* && -d /run/systemd/system ]]; then
        systemctl disable nginx
    fi
)

need() { # PACKAGE...: prints the packages that are missing, then installs them
    local package missing=()
    for package; do
        is_installed "$package" || missing+=("$package")
    done
    ((${#missing[@]})) || return 0
    ((EUID == 0)) || fail "missing packages; as root: apt-get install --no-install-recommends ${missing[*]}"

    printf 'installing with apt-get: %s\n' "${missing[*]}"
    mkdir -p build
    quietly build/packages.log install_packages "${missing[@]}"
}

readonly roots=$PWD/build/roots # the folders of other Debian releases

fetch_root() { # RELEASE NAME [OPTION]...
    rm -rf "${roots:?}/$2"
    debootstrap --variant=minbase --cache-dir="$roots/archives" "${@:3}" "$1" "$roots/$2"
}

make_root() { # RELEASE NAME [OPTION]...: kept for the next run
    [[ $(cat "$roots/$2.done" 2>/dev/null) != "done $*" ]] || return 0
    echo "fetching Debian $1"
    mkdir -p "$roots/archives"
    quietly "$roots/$2.log" retry fetch_root "$@"
    echo "done $*" >"$roots/$2.done"
}

# For the build, the sandbox and the HTTPS test site.
# shellcheck disable=SC2034 # the scripts use it
readonly sandbox_packages=(cmake g++ iproute2 ninja-build nginx openssl python3 qtbase5-dev util-linux)
# shellcheck disable=SC2034
readonly test_packages=("${sandbox_packages[@]}" mandoc)

build() { # PRESET FOLDER: the build folder of the preset
    mkdir -p "$2"
    # A folder that was made with another generator keeps it: the variable has no effect there.
    {
        CMAKE_GENERATOR=Ninja cmake --preset "$1" &&
            cmake --build --preset "$1" --parallel "$(nproc)"
    } 2>&1 | tee "$2/build.log" | progress "building $2" || {
        cat "$2/build.log" >&2
        fail "the build failed"
    }
    printf 'built %s\n' "$2"
}
