#!/usr/bin/env bash
# The help switches show the command-line help in a dialog of its own; other lines of the
# same shape end the program quietly; neither road opens the main window.
source "$(dirname "${BASH_SOURCE[0]}")/e2e_lib.sh"

start_program -HELP
out=$(inspect --class '#32770' --wait 60 --rows 0)
screenshot help_dialog
expect_contains "help dialog titled" 'window "Kestrelia"' "$out"
expect_contains "help text shows the extract switch" "-x" "$out"
expect_contains "font button" 'control Button' "$out"
main=$(inspect --rows 0)
expect_contains "no main window on the help road" "no window of class Kestrelia" "$main"
inspect --class '#32770' --close >/dev/null
code=0; wait "$app" || code=$?
expect_eq "help dialog closed by its close box" 2 "$code"

start_program --foo
code=0; wait "$app" || code=$?
expect_eq "an unknown double-dash line exits quietly" 0 "$code"
finish
