#!/usr/bin/env bash
# Runs `kalvatri batch` as a Slurm job array, each task with a part of the pictures, and a final job that merges the
# parts' reports.
#   slurm-batch.sh --parts N [--sbatch "OPTIONS"] [--program KALVATRI] [--wait] -- -o DIR [batch options] IN... -- EFFECT...
# DIR and the pictures must be visible to all machines under the same names. Run again with the same arguments, it makes
# what is missing. Logs and reports are in DIR/.kalvatri-reports, the complete report in DIR/.kalvatri-reports/all.json.
# docs/clusters.md has the details.
set -euo pipefail

fail() {
    echo "slurm-batch.sh: $*" >&2
    exit 2
}
parts="" options="" program=kalvatri waiting=""
while [ $# -gt 0 ]; do
    case "$1" in
        --parts | --sbatch | --program)
            [ $# -gt 1 ] || fail "$1 needs a value"
            case "$1" in --parts) parts=$2 ;; --sbatch) options=$2 ;; --program) program=$2 ;; esac
            shift 2
            ;;
        --wait) waiting=--wait && shift ;;
        --) shift && break ;;
        *) fail "there is no option $1; what kalvatri batch is given stands behind --" ;;
    esac
done
[[ $parts =~ ^[1-9][0-9]{0,4}$ ]] || fail "--parts has to say how many parts there are, such as --parts 8"
command -v sbatch > /dev/null || fail "sbatch is not there; this runs on a machine from which jobs are submitted to Slurm"
command -v "$program" > /dev/null || fail "$program is not there; --program tells where kalvatri is"
program=$(command -v "$program")

output=""
for ((i = 1; i <= $#; ++i)); do
    case "${!i}" in
        -o | --output) next=$((i + 1)) && output=${!next:-} ;;
        --output=*) output=${!i#*=} ;;
        --) break ;;
        --part | --part=*) fail "--part is given by this script" ;;
    esac
done
[ -n "$output" ] || fail "the folder of the results is missing: -- -o DIR ..."
# Errors in the arguments are reported now rather than by every job.
code=0
"$program" batch --dry-run --part "1/$parts" "$@" > /dev/null || code=$?
[ $code -ne 2 ] || exit 2  # what is wrong with single pictures is told by their parts

mkdir -p "$output/.kalvatri-reports"
reports=$(realpath "$output/.kalvatri-reports")
rm -f "$reports"/*.json "$reports"/*.json.new
words=$(printf '%q ' "$@")
here=$(realpath "$(dirname "$0")")

# A task that Slurm stops passes the signal on, so that the program ends cleanly; finished pictures are not repeated.
job=$(sbatch --parsable $options --job-name=kalvatri-batch --array="1-$parts" --requeue --open-mode=append \
    --output="$reports/part-%a.log" << JOB
#!/bin/bash
report=$(printf %q "$reports")/part-\$SLURM_ARRAY_TASK_ID.json
$(printf %q "$program") batch --part "\$SLURM_ARRAY_TASK_ID/$parts" -j "\${SLURM_CPUS_PER_TASK:-1}" --json $words > "\$report.new" &
trap 'kill -TERM \$!' TERM INT
wait \$!
code=\$?
while kill -0 \$! 2> /dev/null; do wait \$!; code=\$?; done
[ -s "\$report.new" ] && mv "\$report.new" "\$report"
exit \$code
JOB
)
job=${job%%;*}
code=0
merge=$(sbatch --parsable $options $waiting --job-name=kalvatri-report --dependency="afterany:$job" \
    --output="$reports/all.log" --wrap="$(printf '%q %q %q' "$here/merge-reports.py" "$reports" "$parts")") || code=$?
echo "job $job works in $parts parts, job ${merge%%;*} reports in $reports/all.json"
[ -z "$waiting" ] || cat "$reports/all.log"
exit "$code"
