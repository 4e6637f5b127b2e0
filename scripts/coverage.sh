#!/bin/bash
# Prints what the tests run through: lines and branches, file by file, with the lines that no
# test reaches. Needs the packages of .ci/run.
#
# The macOS store is left out: it is compiled, and tested, only where EventKit or its stand-in is.
set -u

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd -P)
folder=$root/build/coverage
programs=(quenbrook unit_tests files_unit_tests icalendar_unit_tests expand_rule vdir_unit_tests contract_in_memory
    contract_vdir evolution_unit_tests contract_evolution quenbrook_over_evolution)
status=0

cd "$root" || exit
cmake --preset coverage >/dev/null || exit
cmake --build "$folder" --target "${programs[@]}" || exit
find "$folder" -name '*.gcda' -delete

# Tests run the program with another user's rights, too; where that one may not write the counts down,
# the program would complain on its standard error.
chmod -R a+rwX "$folder" || exit
umask 0
for tests in unit unit/files unit/icalendar unit/vdir unit/evolution contract conformance cli evolution; do
    bash scripts/ctest.sh "$folder/tests/$tests" --progress || status=1
done

# Each call may throw; the branch that stands for that is nobody's line of code.
gcovr --root "$root" --object-directory "$folder" --filter "(src|stores|model|icalendar|files|json|unicode)/" \
    --exclude stores/eventkit/ --exclude-throw-branches --print-summary
exit "$status"
