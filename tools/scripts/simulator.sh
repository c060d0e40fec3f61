# Sourced by the tools that put the board simulator behind a port.
#
#   start_simulator BIN_DIR LINK [OPTION...]
# starts BIN_DIR/kestro-boardsim as the coprocess SIM with LINK leading to its
# pseudo-terminal, sets sim_pty, and stops it when the shell exits; a folder
# named in sim_scratch is removed then too.
#   sim_command LINE   sends a console line and prints the simulator's answer.

start_simulator() {
  local bin=$1 link=$2
  shift 2
  coproc SIM { exec "$bin/kestro-boardsim" --link "$link" "$@"; }
  sim_pid=$SIM_PID
  trap stop_simulator EXIT
  read -r sim_pty <&"${SIM[0]}"
}

stop_simulator() {
  if kill -0 "$sim_pid" 2>/dev/null; then
    echo quit >&"${SIM[1]}" 2>/dev/null || kill "$sim_pid" 2>/dev/null || true
    wait "$sim_pid" 2>/dev/null || true
  fi
  if [ -n "${sim_scratch:-}" ]; then
    rm -rf "$sim_scratch"
  fi
}

sim_command() {
  local answer
  echo "$1" >&"${SIM[1]}"
  read -r answer <&"${SIM[0]}"
  echo "$answer"
}
