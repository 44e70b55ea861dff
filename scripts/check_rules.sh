#!/usr/bin/env bash
# check_rules.sh: house rules that no compiler knows. Prints every breach as FILE:LINE: what; exit 1 if any.
set -euo pipefail
cd "$(dirname "$0")/.."

breaches=0
breach() {
  printf '%s\n' "$1"
  breaches=$((breaches + 1))
}

# forbid REASON PATTERN [EXCEPTION-REGEX] -- PATHSPEC...: no tracked line may match the pattern.
forbid() {
  local reason=$1 pattern=$2 exception=$3
  shift 4
  while IFS= read -r hit; do
    [[ -n $exception && $hit =~ $exception ]] && continue
    breach "$hit: $reason"
  done < <(git grep -nE --untracked "$pattern" -- "$@" | sed 's/^\([^:]*:[0-9]*\):.*/\1/' || true)
}

forbid 'OpenSSL headers belong to provider/, tools/lab and tests' '#include <openssl/' \
  '^(provider|tools/lab|tools/qxprovider|tests|bench|fuzz)/' -- '*.h' '*.c' '*.cpp'
forbid 'the library includes platform/ and itself only' \
  '#include ("(provider|tools|tests|bench|fuzz)/|<(openssl|nettle)/)' '' -- qxsapssf
forbid 'malloc and free only through owned_bytes.h' '(^|[^_a-zA-Z.>])(std::)?(malloc|calloc|realloc|free)\(' \
  '^qxsapssf/owned_bytes\.(h|cpp):' -- 'qxsapssf/*.h' 'qxsapssf/*.cpp'
forbid 'the environment is read in config/ only' '(^|[^_a-zA-Z])(secure_)?getenv\(' '^qxsapssf/config/' -- qxsapssf
forbid 'catch stands in the wall only' 'catch \(' \
  '^(qxsapssf/frame\.h|qxsapssf/ssfxxmain_frame\.h|qxsapssf/config/config\.cpp|provider/api\.h|tools/|tests/|bench/|fuzz/)' -- '*.h' '*.cpp'
forbid 'ENGINE calls belong to provider/openssl/' 'ENGINE_[a-z_]+\(' '^(provider/openssl|tests|bench)/' -- '*.h' '*.cpp'

# Documents, comments and texts speak of the system alone.
forbid 'the text speaks of a document outside the project' \
  '([Ss]pecification [Pp]art|[Pp]art [0-9]+\.[0-9]|[Tt]he spec([^a-z]|$)|issue #?[0-9]+)' '^scripts/check_rules\.sh' -- '*' ':(exclude)scripts/check_rules.sh'
forbid 'a path of one machine' '(/(work|root)/|/home/[a-z])' '' -- '*' ':(exclude)scripts/check_rules.sh' ':(exclude)tests'

# Files stay short; data tables say so in their first lines.
while IFS= read -r file; do
  lines=$(wc -l <"$file")
  [ "$lines" -le 500 ] && continue
  head -5 "$file" | grep -q 'data table' && continue
  breach "$file:1: $lines lines, more than 500"
done < <(git ls-files --cached --others --exclude-standard '*.c' '*.cpp' '*.h' | grep -v '^platform/')

# A test file that no target builds tests nothing.
while IFS= read -r file; do
  grep -q "$(basename "$file")" "$(dirname "$file")/CMakeLists.txt" 2>/dev/null ||
    grep -rq "$(basename "$file")" --include=CMakeLists.txt tests fuzz ||
    breach "$file:1: in no target"
done < <(git ls-files --cached --others --exclude-standard 'tests/**/*.c' 'tests/**/*.cpp' 'tests/*.cpp')

# Tests of a folder are compiled together, where the names of one must not meet those of another.
while IFS= read -r file; do
  grep -qE "^namespace ([a-z_0-9]+::)+$(basename "$file" .cpp) \{" "$file" || breach "$file:1: in no namespace of its name"
done < <(git ls-files --cached --others --exclude-standard 'tests/**/*_test.cpp')

shellcheck quickstart check .ci/run scripts/*.sh bench/*.sh 2>/dev/null || breach "shellcheck: see above"

if [ "$breaches" -gt 0 ]; then
  echo "$breaches breaches of the house rules" >&2
  exit 1
fi
echo "house rules: good"
