#!/usr/bin/env bash
# The certificates for trying TLS. usage: certificates_test.sh PROJECT_DIR
set -u
script=$1/scripts/certificates
command -v openssl >/dev/null || { echo "openssl is not installed"; exit 77; }
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
folder=$scratch/made

fail() {
    echo "$*"
    exit 1
}

umask 0
"$script" "$folder" nbi.example.org 192.0.2.7 2001:db8::7 >"$scratch/list" || fail "nothing was made"
[ "$(sort "$scratch/list")" = "$(find "$folder" -type f | sort)" ] || fail "the list is not what is there"
for key in "$folder"/*-key.pem; do
    [ "$(stat -c %a "$key")" = 600 ] || fail "others can read $key"
done
for name in server client; do
    openssl verify -CAfile "$folder/authority.pem" -purpose "ssl$name" "$folder/$name.pem" >/dev/null ||
        fail "the authority did not issue $name"
    [ "$(openssl x509 -in "$folder/$name.pem" -noout -pubkey)" = "$(openssl pkey -in "$folder/$name-key.pem" -pubout)" ] ||
        fail "$name has the key of another"
done
openssl x509 -in "$folder/server.pem" -noout -checkhost nbi.example.org | grep -q "does match" || fail "not for the name"
openssl x509 -in "$folder/server.pem" -noout -checkip 192.0.2.7 | grep -q "does match" || fail "not for the address"
openssl x509 -in "$folder/server.pem" -noout -checkip 2001:db8::7 | grep -q "does match" || fail "not for the other address"

rm "$folder/authority.pem"
before=$(cat "$folder"/* | sha256sum)
"$script" "$folder" 2>/dev/null && fail "keys were overwritten"
[ "$(cat "$folder"/* | sha256sum)" = "$before" ] || fail "a refusal changed something"
[ "$(find "$folder" -mindepth 1 -name '.*' | wc -l)" -eq 0 ] || fail "a folder for work was left"
"$script" "$scratch/bad" 'a,DNS:other' 2>/dev/null && fail "a list as one name"
[ "$(find "$scratch/bad" -type f | wc -l)" -eq 0 ] || fail "a refusal left something"
"$script" 2>/dev/null && fail "no folder"
exit 0
