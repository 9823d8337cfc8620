# Shell helpers for driving GNUstep's SystemPreferences with only the Tessary
# pane installed, on the display that with-display provides. Sourced by the
# display tests; they set $calls (the local agent's call log) and $artifacts.

# The operations in the call log, one a line, from line $1 on.
ops_from() { tail -n +"$1" "$calls" 2>/dev/null | sed 's/(.*//'; }
count() {
  local n
  n=$(grep -c "^$1(" "$calls" 2>/dev/null) || true
  echo "${n:-0}"
}
lines() { wc -l <"$calls" 2>/dev/null || echo 0; }
# Calls that change the agent, from line $1 on.
setting_calls() { ops_from "$1" | grep -E '^Quil(SetTransport|SetOptions|Authenticate|MessageEx)$' || true; }

# Waits up to $2 seconds for the command $1 to succeed.
wait_for() {
  local deadline=$((SECONDS + $2))
  until eval "$1"; do
    ((SECONDS < deadline)) || return 1
    sleep 0.2
  done
}

# Presses and releases the first button at window-relative x, y (a plain
# click is too fast for GNUstep).
click() { xdotool mousemove --window "$window" "$1" "$2" mousedown 1 sleep 0.2 mouseup 1; }

# Saves the host's window as $artifacts/NN-NAME.png, numbered in order.
step=0
shot() {
  step=$((step + 1))
  import -window "${window:-root}" "$artifacts/$(printf %02d $step)-$1.png"
}

# Starts SystemPreferences with the arguments given (-NSLanguages ...) and
# sets $host and $window once its window has settled: the first window of
# that name is replaced while the host starts.
start_host() {
  SystemPreferences "$@" >>"$artifacts/SystemPreferences.log" 2>&1 &
  host=$!
  local id="" previous="" deadline=$((SECONDS + 30))
  window=""
  while ((SECONDS < deadline)); do
    id=$(xdotool search --limit 1 --name '^System Preferences$' 2>/dev/null || true)
    if [[ -n $id && $id == "$previous" ]] && xdotool getwindowgeometry "$id" >/dev/null 2>&1; then
      window=$id
      return 0
    fi
    previous=$id
    sleep 0.5
  done
  return 1
}

stop_host() {
  [[ -n ${host:-} ]] || return 0
  kill "$host" 2>/dev/null || true
  wait "$host" 2>/dev/null || true
  host=""
}

# Selects the pane (its icon is the only one) and waits for its first status
# line.
select_pane() {
  local before
  before=$(count QuilGetSessionTrust)
  click 52 77
  wait_for "[[ \$(count QuilGetSessionTrust) -gt $before ]]" 10 && sleep 0.5
}
