# For scripts that need a Debian release of which nothing stays behind.
# shellcheck shell=bash

# in_root RELEASE SCRIPT FOLDER OPTION...
#
# Runs the script in a root of the release that is thrown away, and copies what is in
# its /out then into the folder. The options are mmdebstrap's: what to put in before.
#
# Nothing of the caller's environment gets in: what is built must not depend on it.
#
# The index of an archive may be out of step for one architecture. That matters only
# if a package cannot be had then.
in_root() {
  local release=$1 run=$2 folder=$3
  shift 3
  # shellcheck disable=SC2016  # Mmdebstrap's shell expands them.
  mmdebstrap "$@" \
    --skip=update --setup-hook='APT_CONFIG=$MMDEBSTRAP_APT_CONFIG apt-get update || true' \
    --customize-hook="upload $run /run.sh" \
    --customize-hook='mkdir "$1/out" && chroot "$1" env -i HOME=/root LC_ALL=C.UTF-8 \
      PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin sh -e /run.sh' \
    --customize-hook="sync-out /out $folder" \
    "$release" /dev/null
}
