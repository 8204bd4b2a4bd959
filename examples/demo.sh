#!/usr/bin/env bash
# usage: examples/demo.sh FOLDER-OF-PROGRAMS
#
# One process after another writes label routes to shared memory while others read them, watch them and
# check them. Then several sources configure routes through the central database. Ends with a status other than 0 as soon as anything is not as it should be. The tables stand
# in a directory of their own, which is removed at the end.
set -euo pipefail
(($# == 1)) && [[ -x $1/mplsctl ]] || { echo "usage: demo.sh FOLDER-OF-PROGRAMS" >&2; exit 2; }
PATH=$(cd "$1" && pwd):$PATH
cd "$(dirname "${BASH_SOURCE[0]}")/tables"

shared=/dev/shm
[[ -w $shared ]] || shared=${TMPDIR:-/tmp}
work=$(mktemp -d -p "$shared" mpls-demo-XXXXXX)
export POOLTAB_DIR=$work/tables
mkdir "$POOLTAB_DIR"
helpers=()

cleanup() {
   local pid
   for pid in "${helpers[@]}"; do
      kill "$pid" 2>/dev/null || true
   done
   wait
   rm -rf "$work"
}
trap cleanup EXIT

step() { printf '\n== %s\n' "$*"; }
show() { printf '$ mplsctl %s\n' "$*"; mplsctl "$@"; }
fail() { printf 'demo: %s\n' "$*" >&2; exit 1; }

# expect STATUS VERB...: shows it and demands that exit status.
expect() {
   local wanted=$1 status=0
   shift
   show "$@" || status=$?
   ((status == wanted)) || fail "'mplsctl $*' ended with $status, not $wanted"
}

# --- the watcher: a process that follows all changes, and what we learn from it -------------------------

declare -A followed=() # label -> the rest of its line, built from the watcher's output alone

startWatcher() {
   exec {watched}< <(exec mplsctl watch 2>&1)
   helpers+=($!)
}

# Takes one line of the watcher in; fails when none comes.
followLine() {
   local line first event label rest
   read -r -t 60 -u "$watched" line || fail "the watcher fell silent"
   case $line in
      '# gap'*) lastLine=$line ;;
      '# state'*) followed=() lastLine=$line ;;
      '#'*) lastLine=$line ;;
      *)
         read -r first event label rest <<<"$line"
         case $event in
            added | changed) followed[$label]=$rest ;;
            removed) unset "followed[$label]" ;;
            *) read -r label rest <<<"$line"; followed[$label]=$rest ;;
         esac
         lastLine=$line
         ;;
   esac
}

followedState() {
   local label
   for label in "${!followed[@]}"; do
      printf '%s  %s\n' "$label" "${followed[$label]}"
   done | sort
}
publishedState() { mplsctl watch --until-caught-up | grep -v '^#' | sort; }

# Reads the watcher until what it told adds up to what is published; repeats its words unless told not to.
catchUp() {
   local state routes told=0
   state=$(publishedState)
   routes=$(wc -l <<<"$state")
   until ((${#followed[@]} == routes)) && [[ $(followedState) == "$state" ]]; do
      followLine
      told=$((told + 1))
      [[ ${1-} == quietly ]] || printf '   watch: %s\n' "$lastLine"
   done
   printf '   what the watcher was told in %d lines adds up to the %d routes published\n' "$told" "$routes"
}

# --- the checker: a process that walks the whole graph again and again while others write ---------------

startChecker() {
   (
      checks=0
      trap 'echo "$checks" >"$work/checks"; exit 0' TERM
      while mplsctl verify >"$work/verify" 2>&1; do
         checks=$((checks + 1))
      done
      exit 1
   ) &
   checker=$!
   helpers+=("$checker")
}

stopChecker() {
   kill "$checker" 2>/dev/null || true
   wait "$checker" || { cat "$work/verify" >&2; fail "a walk met something broken while the tables changed"; }
   printf '   %d whole walks beside the writers, every one of them clean\n' "$(<"$work/checks")"
}

# --- the story ------------------------------------------------------------------------------------------

step "A process loads the label table of a router, as JSON, into shared memory, and ends"
expect 0 load hub-1-start.json
step "Another process reads it: labels at the top of their stacks, a line a next hop"
expect 0 show routes
expect 0 show route 16004
step "A third one checks it: every route leads to a via set, every via key to a via"
expect 0 verify

step "From here on one process watches, and one walks the graph over and over"
startWatcher
until [[ ${lastLine-} == '# caught up'* ]]; do
   followLine
done
catchUp quietly
startChecker

step "The link to the east goes down: only what is different is written, and the watcher is told"
expect 0 load hub-2-east-down.json
catchUp
step "The link comes back, and with it a router that was not there before"
expect 0 load hub-3-new-router.json
catchUp
step "Other formats: the text and the JSON of 'ip -f mpls route show', and lines for 'ip -batch'"
expect 0 load static.txt
expect 0 load ldp.json
expect 0 load static.batch
catchUp
step "One route by hand, in the grammar of 'ip -f mpls route'; adding it twice is refused"
expect 0 route add 27 as 902 via inet 198.51.100.18 dev west0
expect 1 route add 27 as 903 via inet 198.51.100.18 dev west0
catchUp
step "A bad file: every bad line is named, and nothing of it is published"
printf '30 as 1048576 via inet 198.51.100.18\n31 via inet 198.51.100.300 dev west0\n' >"$work/bad.txt"
expect 2 load "$work/bad.txt"
catchUp quietly
stopChecker

step "A writer is killed in the middle of 30,000 routes"
awk 'BEGIN { for (i = 0; i < 30000; ++i)
   printf "%d as %d via inet 198.51.100.%d dev north0 proto bgp\n", 100000 + i, 500000 + i, i % 8 }' >"$work/bgp.txt"
exec {first}< <(exec mplsctl watch --label 100000-129999 --count 1)
helpers+=($!)
until read -r -t 60 -u "$first" line && [[ $line == '# caught up'* ]]; do
   [[ $line == '#'* ]] || fail "the watcher of the killed load fell silent"
done
mplsctl load "$work/bgp.txt" >/dev/null 2>&1 &
loader=$!
read -r -t 60 -u "$first" line || fail "nobody was told of the first of the routes"
kill -KILL "$loader" 2>/dev/null || true
wait "$loader" 2>/dev/null && echo "   it had just finished" || true
status=0
mplsctl verify >"$work/verify" || status=$?
((status <= 1)) || { cat "$work/verify" >&2; fail "the killed writer left damage"; }
# Rows that nothing points at yet mislead nobody; anything else would.
! grep -E '^(dangling|wrong type|table):' "$work/verify" >&2 || fail "the killed writer left damage"
published=$(mplsctl show routes --jsonl --label 100000-129999 | wc -l)
printf '   readers go on: %d of the routes are published, no row is torn\n' "$published"
step "The next writer takes over and completes the work"
expect 0 load "$work/bgp.txt"
expect 0 verify | sed -n '1p;$p'
catchUp quietly

step "The size of it all"
expect 0 stats

# --- the other way in: configuration of many sources, through the central database -----------------------

# Starts a program that serves, and waits for its word that it is ready.
serve() {
   local ready word=
   exec {ready}< <(exec "$@")
   served=$!
   helpers+=("$served")
   read -r -t 60 -u "$ready" word && [[ $word == ready ]] || fail "'$*' did not get ready"
}

# Waits in a reader of the tables until a label has a route, or has none any more.
awaitRoute() {
   local label=$1 wanted=$2 line route='has no route' there=no caughtUp=no reading
   exec {reading}< <(exec mplsctl watch --label "$label" 2>&1)
   helpers+=($!)
   until [[ $caughtUp == yes && $there == "$wanted" ]]; do
      read -r -t 60 -u "$reading" line || fail "the reader of label $label fell silent"
      case $line in
         '# caught up'*) caughtUp=yes ;;
         '# state'*) there=no ;;
         '#'*) ;;
         *removed*) there=no ;;
         *) there=yes route="leads to ${line##*  }" ;;
      esac
   done
   [[ $there == yes ]] || route='has no route'
   printf '   a reader of the tables: label %s %s\n' "$label" "$route"
}

export POOLTAB_DIR=$work/configured XDG_RUNTIME_DIR=$work
mkdir "$POOLTAB_DIR"
socket=(--socket "$work/hubdb.sock")
config() { local verb=$1; shift; printf '$ mplsctl %s %s\n' "$verb" "$*"; mplsctl "${socket[@]}" "$verb" "$@"; }

step "A server holds the central database, an agent merges what sources configure and writes the LFIB"
serve hubdbd "${socket[@]}" --state "$work/state"
server=$served
serve mpls-agent "${socket[@]}" routes
config source bgp route add 300 as 17 via inet 198.51.100.1 dev east0
awaitRoute 300 yes
step "Another source wants the same label: the route is withheld, and both are told why"
config source cli route add 300 as 18 via inet 198.51.100.9 dev west0
awaitRoute 300 no
config show conflicts
step "One of them gives way, as the page says: the other's route appears"
config source bgp route del 300 metric 100
awaitRoute 300 yes
config show merged

step "A session: configuration edited apart, and what it would do down to the tables"
config config session start night
config source cli route replace 300 as 19 via inet 198.51.100.9 dev west0 --session night
config source cli vrf-label add 301 red --session night
config config session diff night
[[ $(mplsctl show routes --jsonl | wc -l) == 1 ]] || fail "a session changed the tables before it was committed"
config config session commit night
awaitRoute 301 yes

step "The server is killed and comes back with its state; the agent goes on"
kill -KILL "$server"
wait "$server" 2>/dev/null || true
serve hubdbd "${socket[@]}" --state "$work/state"
config source bgp route add 302 as 20 via inet 198.51.100.1 dev east0
awaitRoute 302 yes
expect 0 show routes
expect 0 verify | sed -n '1p;$p'
printf '\nAll as it should be.\n'
