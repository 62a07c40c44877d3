# What the scripts beside it share. Sourced by them, never run.

root=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/.." && pwd -P)

# What it takes to build everything, tests included: one list, so that whichever script comes first
# leaves a build tree that the others can use.
build_packages=(
  g++ cmake ninja-build ccache pkg-config python3 file ca-certificates
  libboost-dev libboost-filesystem-dev libcli11-dev libfmt-dev nlohmann-json3-dev libssl-dev
  libgrpc++-dev libprotobuf-dev protobuf-compiler protobuf-compiler-grpc
  libspdlog-dev libtomlplusplus-dev prometheus-cpp-dev python3-grpcio python3-protobuf openssl
  libgtest-dev libgmock-dev dpkg-dev
)

die() {
  printf '%s: %s\n' "${0##*/}" "$*" >&2
  exit 1
}

headline() {
  printf '\n==> %s\n' "$*"
}

# install_missing PACKAGE...: asks apt only when dpkg says that something is missing.
install_missing() {
  command -v dpkg-query >/dev/null || die "this needs Debian's package tools; wanted: $*"
  local package state as_root=() missing=()
  for package in "$@"; do
    state=$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null) || state=
    [[ $state == installed ]] || missing+=("$package")
  done
  ((${#missing[@]})) || return 0

  if ((EUID != 0)); then
    # -n: a script that nobody watches must not wait for a password.
    command -v sudo >/dev/null && sudo -n true 2>/dev/null ||
      die "packages are missing; run: sudo apt-get install --no-install-recommends ${missing[*]}"
    as_root=(sudo -n)
  fi
  headline "Installing ${missing[*]}"
  local apt=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -q
    -o Acquire::Retries=3 -o DPkg::Lock::Timeout=300)
  "${apt[@]}" update
  "${apt[@]}" install -y --no-install-recommends "${missing[@]}"
}

# make_account: the user that hoqd becomes when root starts it.
make_account() {
  ((EUID == 0)) || return 0
  getent passwd hoq >/dev/null && return 0
  headline "Making the account hoq"
  /usr/sbin/useradd --system --user-group --home-dir /nonexistent --shell /usr/sbin/nologin hoq
}

# How many compilers fit: one per core, and at least 1.5 GiB of memory for each.
job_count() {
  local cores memory_kib fitting
  cores=$(nproc)
  memory_kib=$(sed -n 's/^MemTotal: *\([0-9]*\) kB$/\1/p' /proc/meminfo)
  fitting=$((memory_kib / 1572864))
  ((fitting >= 1)) || fitting=1
  echo $((cores < fitting ? cores : fitting))
}

# build PRESET [TARGET...]: everything, when no target is named.
build() {
  local preset=$1
  shift
  headline "Building $preset${*:+ ($*)}"
  cmake -S "$root" --preset "$preset"
  cmake --build "$root/build/$preset" -j "$(job_count)" ${1+--target "$@"}
}
