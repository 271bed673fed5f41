#!/usr/bin/env bash
# A local firmware update server: lighttpd over HTTPS on 127.0.0.1, with a
# server certificate of a CA of its own, serving the files under DIR/www.
#
#   scripts/update-server.sh setup DIR PORT
#       makes (when missing) DIR/ca.pem, the CA's certificate, which clients
#       trust; DIR/server.crt and DIR/server.key for 127.0.0.1 and localhost,
#       signed by that CA; DIR/www, the files served; and DIR/lighttpd.conf
#       for PORT. Files under DIR/www/slow/ are sent at 1 KB/s: a server too
#       slow for a download's time limit.
#   scripts/update-server.sh serve DIR
#       runs the server in the foreground (exec: the caller's child is the
#       server itself, so it can be stopped and can die with its caller).
#
# The run script and the firmware tests start it; nothing leaves the machine.
set -euo pipefail

usage() {
  echo "usage: $0 setup DIR PORT | serve DIR" >&2
  exit 2
}

[ $# -ge 2 ] || usage
command=$1
dir=$(realpath -m "$2")

case "$command" in
  setup)
    [ $# -eq 3 ] || usage
    port=$3
    mkdir -p "$dir/www/slow"
    if [ ! -s "$dir/ca.pem" ] || [ ! -s "$dir/server.crt" ]; then
      openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 3650 \
        -subj "/CN=Veltrum local update CA" -keyout "$dir/ca.key" -out "$dir/ca.pem" 2>/dev/null
      openssl req -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes \
        -subj "/CN=127.0.0.1" -keyout "$dir/server.key" -out "$dir/server.csr" 2>/dev/null
      printf '%s\n' "subjectAltName=IP:127.0.0.1,DNS:localhost" "basicConstraints=CA:FALSE" \
        "keyUsage=digitalSignature" "extendedKeyUsage=serverAuth" > "$dir/server.ext"
      openssl x509 -req -days 3650 -in "$dir/server.csr" -CA "$dir/ca.pem" -CAkey "$dir/ca.key" \
        -CAcreateserial -extfile "$dir/server.ext" -out "$dir/server.crt" 2>/dev/null
      chmod 600 "$dir/ca.key" "$dir/server.key"
    fi
    cat > "$dir/lighttpd.conf" <<EOF
server.document-root = "$dir/www"
server.bind = "127.0.0.1"
server.port = $port
server.errorlog = "$dir/error.log"
server.modules = ("mod_openssl")
ssl.engine = "enable"
ssl.pemfile = "$dir/server.crt"
ssl.privkey = "$dir/server.key"
mimetype.assign = ("" => "application/octet-stream")
# HTTP/1.1 only: lighttpd throttles HTTP/1.1 connections, not HTTP/2 streams.
server.feature-flags = ("server.h2proto" => "disable")
\$HTTP["url"] =~ "^/slow/" {
  connection.kbytes-per-second = 1
}
EOF
    ;;
  serve)
    [ $# -eq 2 ] || usage
    [ -f "$dir/lighttpd.conf" ] || { echo "$0: run setup first" >&2; exit 1; }
    exec lighttpd -D -f "$dir/lighttpd.conf"
    ;;
  *)
    usage
    ;;
esac
