# A photo cloud of the user's own on this computer; sourced by ./run.
#
# Everything of it lies in one folder: the cloud's data, its log, the address at
# which it was last, and the password of its one account, made at random on first
# use and readable by the user only. It runs as long as the script that starts it.
# A user who is logged in at another photo cloud keeps that one.

home_cloud="${XDG_DATA_HOME:-$HOME/.local/share}/ZentaraCloud/home-cloud"
home_user=home

# The address at which the user is logged in, or nothing.
logged_in_at() {
  "$bin/zentaractl" --json status | sed -n 's/.*"server":"\([^"]*\)".*/\1/p'
}

make_account() {
  mkdir -p -m 700 "$home_cloud"
  if [ ! -s "$home_cloud/password" ]; then
    (umask 077 && head -c 24 /dev/urandom | base64 >"$home_cloud/password.new")
    mv "$home_cloud/password.new" "$home_cloud/password"
  fi
  "$bin/zentara-photocloud" user list --data "$home_cloud/data" 2>/dev/null | grep -qw "$home_user" ||
    "$bin/zentara-photocloud" user add "$home_user" --data "$home_cloud/data" \
      --password-file "$home_cloud/password" >/dev/null
}

# Serves at the address $1; true once it listens.
serve_at() {
  rm -f "$home_cloud/first-line"
  mkfifo "$home_cloud/first-line"
  "$bin/zentara-photocloud" serve --data "$home_cloud/data" --listen "$1" \
    >"$home_cloud/first-line" 2>>"$home_cloud/log" &
  server=$!
  trap 'kill "$server" 2>/dev/null; wait "$server" 2>/dev/null' EXIT
  trap 'exit 130' INT TERM
  read -r _ _ address <"$home_cloud/first-line" || return 1
  rm -f "$home_cloud/first-line"
  echo "$address" >"$home_cloud/address"
}

start_home_cloud() {
  bin="$1"
  at="$(logged_in_at)"
  last="http://$(cat "$home_cloud/address" 2>/dev/null || true)"
  [ -n "$at" ] && [ "$at" != "$last" ] && [ -n "${at##http://127.0.0.1:*}" ] && return 0
  make_account
  # The address of the last time keeps the session; another one needs a login.
  serve_at "${last#http://}" 2>/dev/null || serve_at 127.0.0.1:0 || {
    echo "The photo cloud does not start; see $home_cloud/log" >&2
    return 1
  }
  [ "$(logged_in_at)" = "http://$address" ] ||
    "$bin/zentaractl" login --server "http://$address" --user "$home_user" \
      --password-file "$home_cloud/password"
}

say_where() {
  [ -n "${address:-}" ] || return 0
  cat <<TEXT
Your pictures stay where they are. Encrypted copies lie in
  $home_cloud/data
which is served at http://$address while this runs. Keep a copy of the keys in a safe place:
  $bin/zentaractl keys export FILE
TEXT
}
