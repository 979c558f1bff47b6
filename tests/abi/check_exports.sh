#!/bin/sh
# Lists the dynamic symbols each library defines and fails on any name
# outside the allowed prefixes, and on any name that none of the library's
# public headers declares. Arguments: pairs of a library and the folder of
# its public headers, or - where only the prefixes are checked.
set -eu
status=0
while [ $# -ge 2 ]; do
  lib=$1
  headers=$2
  shift 2
  names=$(nm -D --defined-only "$lib" | awk '{print $3}' | c++filt)
  bad=$(printf '%s\n' "$names" |
        grep -Ev '^(RX_|RXp_|KO_|KOp_|GE_|ZW_|ZWp_|MIX_|SEQ_|ADDN_|DSK_|TIN_|JRNL_|SHIM_|WRD_|ZQFX_|RXHost_|OPTS_)' |
        grep -Ev '^(typeinfo for |typeinfo name for |vtable for )(RX_|TIN_)' |
        grep -Ev '^[A-Za-z0-9_:<>*& ]+ RXp?_[A-Za-z0-9_]+<' |
        grep -v '^$' || true)
  if [ -n "$bad" ]; then
    echo "$lib exports names outside the package prefixes:"
    echo "$bad"
    status=1
  fi
  [ "$headers" = - ] && continue
  # Each part of a name (the class and the member of a method, the
  # function of a template) must stand as a word in a public header.
  declared=$(cat $(find "$headers" -name '*.h'))
  undeclared=""
  for parts in $(printf '%s\n' "$names" |
                 sed -E 's/^(typeinfo name for |typeinfo for |vtable for )//' |
                 sed -E ':a; s/<[^<>]*>//g; ta; s/\[abi:[^]]*\]//g' |
                 sed -E 's/\(.*//; s/.* //; s/~//g' | sort -u); do
    for part in $(printf '%s\n' "$parts" | sed 's/::/ /g'); do
      case $part in operator*) continue ;; esac
      if ! printf '%s\n' "$declared" | grep -qw -- "$part"; then
        undeclared="$undeclared $parts"
        break
      fi
    done
  done
  if [ -n "$undeclared" ]; then
    echo "$lib exports names that no public header under $headers declares:"
    printf '%s\n' $undeclared
    status=1
  fi
done
exit $status
