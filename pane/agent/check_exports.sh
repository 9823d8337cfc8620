#!/usr/bin/env bash
# Checks that the local agent library exports the eleven agent operations as
# functions and nothing else.
set -euo pipefail
lib=$1
want="QuilAuditInfo QuilAuthenticate QuilGetOptions QuilGetPrefData QuilGetSessionEx
QuilGetSessionStatus QuilGetSessionTrust QuilMessageEx QuilSetOptions QuilSetTransport QuilVersion"
got=$(nm -D --defined-only "$lib" | awk 'NF == 3 {print $2 == "T" ? $3 : $3 "(" $2 ")"}' | sort | tr '\n' ' ')
want=$(echo $want | tr ' ' '\n' | sort | tr '\n' ' ')
if [[ $got != "$want" ]]; then
  echo "exported: $got"
  echo "expected: $want"
  exit 1
fi
