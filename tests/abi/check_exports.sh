#!/bin/sh
# Lists the dynamic symbols each library defines and fails on any name
# outside the allowed prefixes.
set -eu
status=0
for lib in "$@"; do
  bad=$(nm -D --defined-only "$lib" | awk '{print $3}' | c++filt |
        grep -Ev '^(RX_|RXp_|KO_|KOp_|GE_|ZW_|ZWp_|MIX_|SEQ_|ADDN_|DSK_|TIN_|JRNL_|SHIM_|WRD_|ZQFX_|RXHost_)' |
        grep -Ev '^(typeinfo for |typeinfo name for |vtable for )RX_' |
        grep -Ev '^[A-Za-z0-9_:<>*& ]+ RX_[A-Za-z0-9_]+<' |
        grep -v '^$' || true)
  if [ -n "$bad" ]; then
    echo "$lib exports names outside the package prefixes:"
    echo "$bad"
    status=1
  fi
done
exit $status
