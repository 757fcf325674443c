# A message whose arguments do not go with its format does not compile, neither a direct one nor one of a table; nor does
# a message in a file without a tag or of the other report level, or one behind the last line of its part.
# Arguments: folder of src/, folder of include/, C++ compiler with its flags.
set -eu
src=$1
include=$2
shift 2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# compiles NAME BODY [LINE]: a function with this body, as if it stood in src/NAME.
compiler=$*
compiles() {
    {
        printf '#include "psiLog.h"\nusing namespace psi::core;\n'
        printf 'struct Texts { LogText plain; LogTextOf<unsigned> number; };\n'
        printf '#line %s "%s"\nvoid message(unsigned u, int i, unsigned long l);\n' "${3:-1}" "$1"
        printf 'void message(unsigned u, int i, unsigned long l) { (void)u; (void)i; (void)l; %s }\n' "$2"
    } >"$work/message.cpp"
    # shellcheck disable=SC2086
    $compiler -std=c++17 -fno-builtin-printf -Wall -Wextra -Wformat=2 -Werror -fsyntax-only \
        -I"$src" -I"$include" "$work/message.cpp" 2>"$work/errors"
}

status=0
good() {
    compiles "$@" || { echo "does not compile: $2"; cat "$work/errors"; status=1; }
}
# bad WORDS NAME BODY [LINE]: the compiler says WORDS.
bad() {
    words=$1
    shift
    if compiles "$@"; then
        echo "compiles: $2"
        status=1
    elif ! grep -qE -e "$words" "$work/errors"; then
        echo "fails for another reason: $2"
        cat "$work/errors"
        status=1
    fi
}

good psiSch.cpp 'PSI_ERROR("%u %d %lu", u, i, l);'
good psiMake.cpp 'MAKE_INFO("no argument");'
good psiSch.cpp 'constexpr Texts texts = {PSI_TEXT(error, "plain"), PSI_TEXT(info, "%u")}; schLog(texts.number, u);'

bad '[-W=]format' psiSch.cpp 'PSI_ERROR("%u", l);'
bad '[-W=]format' psiSch.cpp 'PSI_WARNING("%u %u", u);'
bad '[-W=]format' psiSch.cpp 'PSI_INFO("nothing", u);'
bad '[-W=]format' psiMake.cpp 'MAKE_ERROR("%s", i);'

bad 'formatDoesNotFitItsArguments' psiSch.cpp 'constexpr Texts texts = {PSI_TEXT(error, "%u"), PSI_TEXT(error, "%u")};'
bad 'formatDoesNotFitItsArguments' psiSch.cpp 'constexpr Texts texts = {PSI_TEXT(error, ""), PSI_TEXT(error, "%d")};'
bad 'formatDoesNotFitItsArguments' psiSch.cpp 'constexpr Texts texts = {PSI_TEXT(error, ""), PSI_TEXT(error, "")};'
bad 'error' psiSch.cpp 'constexpr Texts texts = {PSI_TEXT(error, ""), PSI_TEXT(error, "%u")}; schLog(texts.number);'
bad 'error' psiSch.cpp 'constexpr Texts texts = {PSI_TEXT(error, ""), PSI_TEXT(error, "%u")}; schLog(texts.plain, u);'

bad 'fileIsMissingInLogSources' psiUnknown.cpp 'PSI_ERROR("text");'
bad 'fileIsMissingInLogSources' psiUnknown.cpp 'constexpr LogText text = PSI_TEXT(error, "text"); schLog(text);'
bad 'fileIsOfTheOtherReportLevel' psiMake.cpp 'PSI_ERROR("text");'
bad 'fileIsOfTheOtherReportLevel' psiSch.cpp 'MAKE_ERROR("text");'
bad 'fileIsLongerThanLogPartLines' psiSch.cpp 'PSI_ERROR("text");' 5000
exit $status
