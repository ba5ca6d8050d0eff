# shellcheck shell=bash
# For `run` and `test`, which source it: finds out by trying which tools are missing, installs those
# with apt-get, and builds a preset quietly. What it prints goes to standard output, failures to
# standard error. Needs `set -euo pipefail`, and the repository's root as working directory.

MISSING=() # packages to install

# Prints the reason on standard error and stops the script with status 1.
Fail() {
    printf '%s\n' "$@" >&2
    exit 1
}

# Whether compiler $1 builds a program that runs; further arguments go to the compiler, after the
# program, which is read from standard input.
CanCompile() {
    local compiler=$1 scratch status=0
    shift
    scratch=$(mktemp -d)
    { "$compiler" -std=c++20 -x c++ - -x none -o "$scratch/probe" "$@" && "$scratch/probe"; } \
        >"$scratch/log" 2>&1 || status=1
    rm -rf "$scratch"
    return "$status"
}

# Whether compiler $1 exists and knows the library of C++20.
HasCompiler() {
    CanCompile "$1" <<<$'#include <bit>\nint main() { return std::popcount(0U); }'
}

HasSanitizers() {
    CanCompile g++ -fsanitize=address,undefined <<<'int main() {}'
}

HasGoogleTest() {
    CanCompile g++ -lgtest -lgtest_main -pthread \
        <<<$'#include <gtest/gtest.h>\nTEST(Probe, Runs) { EXPECT_EQ(1 + 1, 2); }'
}

HasBenchmark() {
    CanCompile g++ -lbenchmark -pthread \
        <<<$'#include <benchmark/benchmark.h>\nint main() { benchmark::Shutdown(); }'
}

# Whether the compiler finds header $1.
HasHeader() {
    CanCompile g++ <<<"#include <$1>"$'\nint main() {}'
}

# Whether cmake runs and is 3.21 or newer, the first that reads our presets.
HasCmake() {
    local version
    version=$(cmake --version 2>/dev/null | sed -n '1s/^cmake version //p') || return 1
    [[ -n $version ]] && printf '3.21\n%s\n' "$version" | sort -C -V
}

HasBuilder() {
    ninja --version >/dev/null 2>&1 || make --version >/dev/null 2>&1
}

# What the page is made with.
FindMissingOfPage() {
    command -v emcc >/dev/null || MISSING+=(emscripten)
    node --version >/dev/null 2>&1 || MISSING+=(nodejs)
    npm --version >/dev/null 2>&1 || MISSING+=(npm)
    [[ -e /usr/include/nlohmann/json.hpp ]] || MISSING+=(nlohmann-json3-dev)
}

# Fetches the libraries of web/package-lock.json, unless they are there.
FetchPageLibraries() {
    local list=web/package-lock.json have=web/node_modules/.package-lock.json
    [[ $have -nt $list ]] && return 0
    echo "Fetching the libraries of $list with npm"
    npm ci --prefix web --ignore-scripts --no-audit --no-fund --no-update-notifier \
        --loglevel=error >/dev/null ||
        Fail "npm could not fetch them; with a network, try: npm ci --prefix web --ignore-scripts"
}

# Fills MISSING; the argument says for what: "run", "test" or "page".
FindMissing() {
    MISSING=()
    if [[ $1 == page ]]; then
        HasCmake || MISSING+=(cmake)
        HasBuilder || MISSING+=(ninja-build)
        FindMissingOfPage
        return
    fi
    HasCompiler g++ || MISSING+=(g++)
    HasCmake || MISSING+=(cmake)
    HasBuilder || MISSING+=(ninja-build)
    sha256sum </dev/null >/dev/null 2>&1 || MISSING+=(coreutils)
    if [[ $1 == test ]]; then
        HasCompiler clang++ || MISSING+=(clang)
        # Without a compiler the probes of its libraries fail too: asking for one that is there does
        # no harm.
        HasGoogleTest || MISSING+=(libgtest-dev)
        HasHeader CLI/Version.hpp || MISSING+=(libcli11-dev)
        HasHeader nlohmann/json_fwd.hpp || MISSING+=(nlohmann-json3-dev)
        HasHeader pcap/pcap.h || MISSING+=(libpcap-dev)
        HasHeader boost/math/distributions/students_t.hpp || MISSING+=(libboost-math-dev)
        HasSanitizers || [[ " ${MISSING[*]} " == *' g++ '* ]] || MISSING+=(g++)
        gnuplot --version >/dev/null 2>&1 || MISSING+=(gnuplot-nox)
        parallel --version >/dev/null 2>&1 || MISSING+=(parallel)
        # For clang-tidy, which reads the benchmark too.
        HasBenchmark || MISSING+=(libbenchmark-dev)
        clang-format --version >/dev/null 2>&1 || MISSING+=(clang-format)
        clang-tidy --version >/dev/null 2>&1 || MISSING+=(clang-tidy)
        shellcheck --version >/dev/null 2>&1 || MISSING+=(shellcheck)
    fi
}

# Tries to install packages; says so, and goes on without them.
TryInstalling() {
    local sudo=()
    ((EUID == 0)) || sudo=(sudo -n)
    echo "Installing with apt-get, if it can be: $*"
    "${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -q -o DPkg::Lock::Timeout=120 install \
        -y --no-install-recommends "$@" >/dev/null 2>&1 </dev/null || true
}

# Whether the policy of this machine keeps packages from starting their services, as containers do.
StartsNoServices() {
    local status=0
    /usr/sbin/policy-rc.d "$1" start >/dev/null 2>&1 || status=$?
    ((status == 101))
}

# Tries to install the programs of tests that are skipped without them.
InstallOptional() {
    chromium --version >/dev/null 2>&1 || TryInstalling chromium fonts-dejavu-core
    tshark --version >/dev/null 2>&1 || TryInstalling tshark
    # For the page.
    MISSING=()
    FindMissingOfPage
    ((${#MISSING[@]} == 0)) || TryInstalling "${MISSING[@]}"
    # For the Debian package.
    dpkg-shlibdeps --version >/dev/null 2>&1 || TryInstalling dpkg-dev
    file --version >/dev/null 2>&1 || TryInstalling file
    lintian --version >/dev/null 2>&1 || TryInstalling lintian
    man --version >/dev/null 2>&1 || TryInstalling man-db
    # Nobody who tests wants daemons on the machine that are there from then on.
    if [[ ! -x /usr/sbin/munged || ! -x /usr/sbin/slurmctld || ! -x /usr/sbin/slurmd ]] &&
        StartsNoServices munge; then
        TryInstalling munge slurm-wlm
    fi
}

# Installs what $1 ("run", "test" or "page") needs and this machine lacks. Where that is not allowed, prints
# the command for somebody who may.
InstallMissing() {
    FindMissing "$1"
    ((${#MISSING[@]})) || return 0

    local sudo=()
    local packages="${MISSING[*]}"
    local command="sudo apt-get update && sudo apt-get install -y --no-install-recommends $packages"
    if ! command -v apt-get >/dev/null; then
        Fail "Missing: $packages (names of Debian packages). There is no apt-get here;" \
            "install them by other means. On Debian and Ubuntu the command is:" "    $command"
    fi
    if ((EUID == 0)); then
        command=${command//sudo /}
    elif sudo -n true 2>/dev/null; then
        sudo=(sudo -n)
    else
        Fail "Missing: $packages. This account may not install packages; please run:" "    $command"
    fi

    echo "Installing with apt-get: $packages"
    local apt=("${sudo[@]}" env DEBIAN_FRONTEND=noninteractive)
    apt+=(apt-get -q -o DPkg::Lock::Timeout=120)
    mkdir -p build
    # An unreachable list among several need not matter; the installation tells.
    if ! {
        "${apt[@]}" update || true
        "${apt[@]}" install -y --no-install-recommends "${MISSING[@]}"
    } >build/install.log 2>&1 </dev/null; then
        cat build/install.log >&2
        Fail "The installation failed. The command was:" "    $command"
    fi
    FindMissing "$1"
    ((${#MISSING[@]} == 0)) ||
        Fail "Installed, but still missing or too old: ${MISSING[*]}." \
            "Needed are a C++20 compiler and cmake 3.21 or newer."
}

# Configures preset $1. Says nothing unless it fails; then it prints what cmake wrote, and returns 1.
ConfigurePreset() {
    local preset=$1
    local dir=build/$preset log=build/$preset.log generator=()
    mkdir -p build
    # A tree that was copied or moved together with its build is built anew.
    if [[ -e $dir/CMakeCache.txt ]] &&
        ! grep -qxF "CMAKE_HOME_DIRECTORY:INTERNAL=$PWD" "$dir/CMakeCache.txt"; then
        rm -rf "$dir"
    fi
    if [[ ! -e $dir/CMakeCache.txt ]]; then
        if ninja --version >/dev/null 2>&1; then
            generator=(-G Ninja)
        else
            generator=(-G 'Unix Makefiles')
        fi
    fi
    if ! cmake --preset "$preset" "${generator[@]}" >"$log" 2>&1; then
        cat "$log" >&2
        echo "Configuring preset $preset failed." >&2
        return 1
    fi
}

# Configures preset $1 and builds target $2 of it, as quietly.
BuildTarget() {
    local preset=$1 target=$2 jobs
    local dir=build/$preset log=build/$preset.log
    ConfigurePreset "$preset" || return 1
    jobs=$(nproc 2>/dev/null || echo 1)
    if ! cmake --build "$dir" --target "$target" --parallel "$jobs" >"$log" 2>&1; then
        cat "$log" >&2
        echo "Building $target of preset $preset failed." >&2
        return 1
    fi
}
