# For the scripts of qz_add_script_test: names the arguments, has what play_check.sh has, and goes into a
# work folder, which does not outlive the script.

# The names are the script's.
# shellcheck disable=SC2034

way=$1
source_dir=$2
build_dir=$3
module=$4 # libout123's module for ALSA

# shellcheck source-path=SCRIPTDIR
. "$source_dir/tests/support/play_check.sh"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit
