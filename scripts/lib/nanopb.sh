# What the scripts that try nanopb share; sourced after common.sh.
# shellcheck shell=bash
set -euo pipefail

# nanopb_code FOLDER   nanopb's code for all schemas
nanopb_code() {
  protoc -Iproto -I/usr/include --nanopb_out="$1" \
    --nanopb_opt=-q --nanopb_opt=-f"$PWD/tools/nanopb/nanopb.options" \
    proto/*.proto google/protobuf/any.proto
}

# nanopb_messages HEADER...   the names of their messages in C
nanopb_messages() {
  sed -n 's/^#define \(.*\)_fields &.*/\1/p' "$@"
}
