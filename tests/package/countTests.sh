# What scripts/count-tests counts as passed, failed and skipped.
# Arguments: scripts/count-tests, ctest.
set -eu
count=$1
ctest=$2
build=$(mktemp -d)
trap 'rm -rf "$build"' EXIT
mkdir "$build/results"

# entry NAME COMMAND...: one of ctest, which writes no results.
entry() {
    name=$1
    shift
    echo "add_test($name $*)" >>"$build/CTestTestfile.cmake"
}
# program NAME [XML]: a test program that passes, and what stands in its results.
program() {
    entry "$1" true "\"--gtest_output=xml:$build/results/$1.xml\""
    [ $# -eq 1 ] || printf '<testsuites %s name="AllTests">\n  <testsuite name="One" %s>\n  </testsuite>\n</testsuites>\n' \
        "$2" "$2" >"$build/results/$1.xml"
}

status=0
# counts STATUS LINE: the last line of it all, and how it ends.
counts() {
    "$ctest" --test-dir "$build" --output-junit ctest.xml >/dev/null 2>&1 || true
    ended=0
    said=$("$count" "$build") || ended=$?
    [ "$(echo "$said" | tail -n 1)" = "$2" ] && [ $ended -eq "$1" ] || { echo "$said"; echo "with $ended, not $2 with $1"; status=1; }
}

counts 1 '0 passed, 0 failed, 0 skipped'

entry script true
entry doesNotApply sh -c '"exit 77"'
echo 'set_tests_properties(doesNotApply PROPERTIES SKIP_RETURN_CODE 77)' >>"$build/CTestTestfile.cmake"
program some 'tests="5" failures="0" disabled="1" skipped="1" errors="0"'
counts 0 '4 passed, 0 failed, 3 skipped'

program failing 'tests="3" failures="1" disabled="0" skipped="0" errors="0"'
counts 1 '6 passed, 1 failed, 3 skipped'

entry fails false
entry isNotThere "$build/nothing"
program leftNoResults
program ranNoTest 'tests="0" failures="0" disabled="0" skipped="0" errors="0"'
counts 1 '6 passed, 5 failed, 3 skipped'
exit $status
