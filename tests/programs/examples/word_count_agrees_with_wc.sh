#!/usr/bin/env bash
# word_count_agrees_with_wc.sh image folder tarnrun wine
set -uo pipefail
image=$1 folder=$2 tarnrun=$3 wine=$4
rm -rf "$folder"
mkdir -p "$folder"
cd "$folder" || exit 1
cp /usr/share/common-licenses/GPL-3 licence.txt
sed 's/$/\r/' licence.txt >crlf.txt
for _ in $(seq 100); do cat licence.txt; done >part.txt
for _ in $(seq 15); do cat part.txt; done >large.txt
[ "$(stat -c %s large.txt)" -ge 50000000 ] || { echo "large.txt is too small"; exit 1; }

counts_of_wc() { wc -lwc "$1" | awk -v name="$2" '{print $1, $2, $3, name}'; }
{
  counts_of_wc licence.txt licence.txt
  counts_of_wc crlf.txt crlf.txt
  counts_of_wc large.txt large.txt
} >wanted.txt
counts_of_wc licence.txt crlf.txt >wanted_text.txt   # carriage returns dropped

failed=0
for runner in "$tarnrun" ${wine:+"$wine"}; do
  [[ $runner == *NOTFOUND ]] && continue
  "$runner" "$image" licence.txt crlf.txt large.txt | tr -d '\r' | grep -v total | diff wanted.txt - || failed=1
  "$runner" "$image" -t crlf.txt | tr -d '\r' | diff wanted_text.txt - || failed=1
done
rm -f large.txt part.txt
exit $failed
