# The packages of scripts/package, where nothing else of the project is: run inside that system, as root.
# Argument: version.
set -eu
version=$1
share=/usr/share/doc
passed=0

ok() {
    passed=$((passed + 1))
    echo "ok $passed - $1"
}

wrong() {
    echo "not ok - $1"
    exit 1
}

# The example in C is built by gcc alone, with both libraries, and runs on the stream that comes with it.
cd /tmp
examples=$share/libpsi-dev/examples
command -v g++ && wrong "there is a C++ compiler"
gcc "$examples/allTables.c" "$examples/captureFilter.c" $(pkg-config --cflags --libs psi) -o shared
gcc -static-pie "$examples/allTables.c" "$examples/captureFilter.c" $(pkg-config --static --cflags --libs psi) -o static
for program in shared static; do
    "./$program" "$examples/multiplex.ts" >"$program.txt"
    grep -q 'News One' "$program.txt" || { cat "$program.txt"; wrong "$program does not find the services"; }
done
cmp shared.txt static.txt
ldd shared | grep -q 'libpsi\.so\.0\.' || wrong "the host does not load libpsi.so"
ldd shared | grep -q 'libstdc++' && wrong "the host needs the C++ runtime"
ok "gcc builds the example with libpsi.so and libpsi.a"

[ "$(psitool --version)" = "psitool $version" ]
psitool scan $share/psitool/examples/multiplex.ts | grep -q '"News One"'
psitool tables --json $share/psitool/examples/multiplex.ts | psitool compile - --check
ok "psitool"

for page in psitool psitool-scan psitool-edit psitool-compile; do
    MANWIDTH=80 man --warnings "$page" >page.txt 2>warnings.txt
    grep -q '^EXIT STATUS' page.txt || wrong "man $page has no text"
    [ ! -s warnings.txt ] || { cat warnings.txt; wrong "man $page"; }
done
whatis psitool-edit | grep -q 'change tables in a transport stream'
ok "manual pages"

bash -c '. /usr/share/bash-completion/bash_completion
    _completion_loader psitool
    COMP_WORDS=(psitool ed) COMP_CWORD=1
    _psitool
    [ "${COMPREPLY[*]}" = edit ]'
[ -s /usr/share/zsh/vendor-completions/_psitool ]
[ -s /usr/share/fish/vendor_completions.d/psitool.fish ]
ok "completion"

python3 -c "
import psi
pmt = next(s for s in psi.sections('$share/psitool/examples/multiplex.ts') if s.table == 'PMT')
assert psi.compile(pmt.json)[0].data == pmt.data
"
ok "Python module"

echo "$passed passed, 0 failed"
