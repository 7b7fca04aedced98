#!/bin/sh
# Runs in the test VM: each kernel-tier gtest suite given, one after the
# other in one boot (a boot costs several seconds under TCG), then one line
# per suite and the count. Fails when any suite failed.
#   run-suites.sh SUITE...
failed=0 passed=0 summary=
for suite in "$@"; do
  name=${suite##*/}
  echo "=== $name"
  if "$suite"; then
    passed=$((passed + 1)) summary="$summary
$name: passed"
  else
    failed=$((failed + 1)) summary="$summary
$name: FAILED"
  fi
done
echo "=== kernel suites$summary"
echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
