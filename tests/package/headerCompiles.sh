# The header compiles alone and without a warning.
# Arguments: header, compiler with its flags and the standard.
set -eu
header=$1
shift
"$@" -pedantic -Wall -Wextra -Werror -fsyntax-only "$header"
