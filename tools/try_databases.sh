#!/usr/bin/env bash
# Starts a PostgreSQL and a MariaDB server of its own in a scratch folder, loads a sample into each,
# and compares the command's results on it with those on the CSV file. By hand; needs postgresql and
# mariadb-server, not as root's PostgreSQL.
# usage: tools/try_databases.sh [VELMORA]
set -euo pipefail
cd "$(dirname "$0")/.."
velmora=$(realpath "${1:-build/velmora}")
data=$PWD/samples/german_credit.csv
options=(--binary-response risk --good good --bad bad --quiet --format csv)
scratch=$(mktemp -d)
as_user=()
[ "$(id -u)" -ne 0 ] || { chmod 711 "$scratch"; as_user=(setpriv --reuid=postgres --regid=postgres --clear-groups); }
servers=$(echo /usr/lib/postgresql/*/bin)
stop() {
  "${as_user[@]}" "$servers/pg_ctl" -D "$scratch/pg" -m immediate stop >/dev/null 2>&1 || true
  [ ! -f "$scratch/my/pid" ] || kill "$(cat "$scratch/my/pid")" || true
  sleep 1
  rm -rf "$scratch"
}
trap stop EXIT
expected=$("$velmora" screen "$data" "${options[@]}")
check() {
  if [ "$("$velmora" screen "$1" "${options[@]}" | tail -n +2)" = "$(echo "$expected" | tail -n +2)" ]; then
    echo "same as the file: $1"
  else
    echo "differs from the file: $1" >&2
    exit 1
  fi
}
# Whole numbers are columns of whole numbers, everything else is text.
columns() {
  python3 - "$data" "$1" <<'END'
import csv, sys
rows = list(csv.reader(open(sys.argv[1])))
whole = lambda i: all(row[i].lstrip("-").isdigit() for row in rows[1:])
print(", ".join(f"{sys.argv[2]}{name}{sys.argv[2]} {'integer' if whole(i) else 'text'}" for i, name in enumerate(rows[0])))
END
}

mkdir "$scratch/pg"
[ ${#as_user[@]} -eq 0 ] || chown postgres "$scratch/pg"
"${as_user[@]}" "$servers/initdb" -D "$scratch/pg" -U velmora -A trust >/dev/null
"${as_user[@]}" "$servers/pg_ctl" -D "$scratch/pg" -o "-p 54399 -k $scratch/pg -c listen_addresses=127.0.0.1" -w start >/dev/null
psql -q -h 127.0.0.1 -p 54399 -U velmora postgres -c "CREATE TABLE credit ($(columns '"'))" -c "\\copy credit FROM '$data' CSV HEADER"
check "postgresql://velmora@127.0.0.1:54399/postgres?table=credit"

mariadb-install-db --no-defaults --datadir="$scratch/my" --auth-root-authentication-method=normal --user="$(id -un)" >/dev/null
mariadbd --no-defaults --datadir="$scratch/my" --port=33799 --bind-address=127.0.0.1 --socket="$scratch/my/s" \
  --user="$(id -un)" --pid-file="$scratch/my/pid" >"$scratch/my/log" 2>&1 &
for _ in $(seq 30); do mariadb --no-defaults -S "$scratch/my/s" -u root -e "" 2>/dev/null && break; sleep 1; done
mariadb --no-defaults --local-infile -S "$scratch/my/s" -u root -e "CREATE DATABASE d; USE d; CREATE TABLE credit ($(columns '`'));
  LOAD DATA LOCAL INFILE '$data' INTO TABLE credit FIELDS TERMINATED BY ',' OPTIONALLY ENCLOSED BY '\"' IGNORE 1 LINES"
check "mysql://root@127.0.0.1:33799/d?table=credit"
