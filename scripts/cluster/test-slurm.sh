#!/usr/bin/env bash
# Tests slurm-batch.sh with Slurm on this machine alone: a controller and a node on the loopback address with two slots,
# started and stopped here. 400 pictures in 8 parts; a task is killed and requeued, and the disk for some results is
# full; in the end the results must equal those of a single run, with nothing made twice and nothing lost.
#   scripts/cluster/test-slurm.sh [KALVATRI]     default: build/release/bin/kalvatri
# Needs root and Debian's slurmctld, slurmd, slurm-client and munge. It takes a few minutes and is not part of check.sh.
set -euo pipefail
cd "$(dirname "$0")/../.."
kalvatri=$(realpath "${1:-build/release/bin/kalvatri}")
[ "$(id -u)" -eq 0 ] || {
    echo "test-slurm.sh mounts a small disk and starts daemons, which takes root."
    exit 2
}
scripts/install-packages.sh slurmctld slurmd slurm-client munge

scratch=$(mktemp -d)
pids=()
finish() {
    for pid in "${pids[@]}"; do kill "$pid" 2> /dev/null || true; done
    for pid in "${pids[@]}"; do wait "$pid" 2> /dev/null || true; done
    mountpoint -q "$scratch/out/full" && umount "$scratch/out/full"
    rm -rf "$scratch"
}
trap finish EXIT
failed() {
    echo "FAILED: $*"
    tail -n 20 "$scratch"/*.log "$scratch"/out/.kalvatri-reports/*.log 2> /dev/null || true
    exit 1
}

# munge authenticates access to the daemons; it runs as the owner of its key.
mkdir -p "$scratch/munge" "$scratch/state" "$scratch/spool"
chown munge:munge "$scratch/munge"
chmod 711 "$scratch" "$scratch/munge"
dd if=/dev/urandom of="$scratch/munge/key" bs=1 count=1024 status=none
chown munge:munge "$scratch/munge/key"
chmod 600 "$scratch/munge/key"
runuser -u munge -- munged --foreground --force --key-file="$scratch/munge/key" --socket="$scratch/munge/socket" \
    --pid-file="$scratch/munge/pid" --log-file="$scratch/munge/log" --seed-file="$scratch/munge/seed" > "$scratch/munged.out" 2>&1 &
pids+=($!)
host=$(hostname -s)
cat > "$scratch/slurm.conf" << CONF
ClusterName=loopback
SlurmctldHost=$host(127.0.0.1)
SlurmctldPort=26817
SlurmdPort=26818
SlurmUser=root
AuthType=auth/munge
AuthInfo=socket=$scratch/munge/socket
CredType=cred/munge
StateSaveLocation=$scratch/state
SlurmdSpoolDir=$scratch/spool
SlurmctldPidFile=$scratch/slurmctld.pid
SlurmdPidFile=$scratch/slurmd.pid
SlurmctldLogFile=$scratch/slurmctld.log
SlurmdLogFile=$scratch/slurmd.log
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
JobAcctGatherType=jobacct_gather/none
AccountingStorageType=accounting_storage/none
SelectType=select/cons_tres
SelectTypeParameters=CR_CPU
SlurmdParameters=config_overrides
SchedulerParameters=batch_sched_delay=0,sched_min_interval=100000
MinJobAge=3600
ReturnToService=2
NodeName=$host NodeAddr=127.0.0.1 CPUs=2 State=UNKNOWN
PartitionName=all Nodes=$host Default=YES MaxTime=INFINITE State=UP
CONF
export SLURM_CONF=$scratch/slurm.conf
for ((i = 0; i < 50; ++i)); do [ -S "$scratch/munge/socket" ] && break || sleep 0.1; done
slurmctld -D -f "$SLURM_CONF" > "$scratch/slurmctld.out" 2>&1 &
pids+=($!)
slurmd -D -f "$SLURM_CONF" -N "$host" > "$scratch/slurmd.out" 2>&1 &
pids+=($!)
for ((i = 0; i < 100; ++i)); do [ "$(sinfo -h -o %T 2> /dev/null)" = idle ] && break || sleep 0.3; done
[ "$(sinfo -h -o %T)" = idle ] || failed "Slurm does not start"

echo "== 400 pictures"
mkdir -p "$scratch/in/full" "$scratch/out/full"
/usr/bin/python3 - "$scratch/in" << 'PYTHON'
import sys
import numpy
import PIL.Image
random = numpy.random.default_rng(1)
for i in range(400):
    folder = sys.argv[1] + ("/full" if i % 8 == 0 else "")
    coarse = PIL.Image.fromarray(random.integers(0, 256, (12, 16, 3), numpy.uint8))
    coarse.resize((640, 480)).save("%s/photo%03d.jpg" % (folder, i))
PYTHON
chain=(-- WhiteBalance color=#c8b496 BlurBokeh Vignette)
begin=$(date +%s.%N)
"$kalvatri" batch -q -r -j 2 -o "$scratch/whole" "$scratch/in" "${chain[@]}"
whole=$(date +%s.%N)
seq 8 | xargs -P 2 -I{} "$kalvatri" batch -q -r -j 1 --part {}/8 -o "$scratch/parts" "$scratch/in" "${chain[@]}"
parts=$(date +%s.%N)
printf 'one batch -j 2: %.1f s, 8 parts on 2 slots without Slurm: %.1f s, %.2f times\n' "$(bc <<< "$whole - $begin")" \
    "$(bc <<< "$parts - $whole")" "$(bc -l <<< "($parts - $whole) / ($whole - $begin)")"
same() { diff -r -x '.kalvatri*' "$scratch/whole" "$1" || failed "the results differ"; }
same "$scratch/parts"

echo "== 8 parts through Slurm, a part of the results on a disk of 256 kilobytes"
mount -t tmpfs -o size=256k none "$scratch/out/full"
submit() {
    scripts/cluster/slurm-batch.sh --parts 8 --program "$kalvatri" "$@" -- -r -o "$scratch/out" "$scratch/in" "${chain[@]}"
}
count() { cat "$@" 2> /dev/null | grep -c '"output"' || true; }  # the results that ledgers record
recorded() { count "$scratch"/out/.kalvatri-batch.*-of-8.jsonl; }
submit | tee "$scratch/submitted"
job=$(awk '{ print $2 }' "$scratch/submitted")
# All processes of a running task are killed by signal 9, and Slurm requeues it.
task=""
for ((i = 0; i < 600; ++i)); do
    task=$(squeue -h -r -t R -o %K -j "$job" | head -1) || true
    ledger=$scratch/out/.kalvatri-batch.$task-of-8.jsonl
    [ -n "$task" ] && [ "$(count "$ledger")" -gt 2 ] && break
    sleep 0.05
done
[ -n "$task" ] || failed "no task ran"
before=$(count "$ledger")
kill_part() { for pid in $(pgrep -f -- "--part $task/8 .*$scratch/out" || true); do kill -9 "$pid" 2> /dev/null || true; done; }
kill_part
scontrol requeue "${job}_$task"
echo "part $task was killed after $before pictures and requeued"
for ((i = 0; i < 1200; ++i)); do [ -e "$scratch/out/.kalvatri-reports/all.json" ] && break || sleep 0.5; done
sleep 1
cat "$scratch/out/.kalvatri-reports/all.log"
grep -q 'No space left on device' "$scratch/out/.kalvatri-reports/all.log" || failed "the full disk is not told"
first=$(recorded)
echo "$first of 400 results are recorded"
[ "$first" -lt 400 ] && [ "$first" -ge 350 ] || failed "350 pictures have room, and not all"

echo "== the same command once the disk has room"
mount -o remount,size=64m "$scratch/out/full"
submit --wait || failed "the second run"
same "$scratch/out"
[ "$(recorded)" -eq 400 ] || failed "$(recorded) results are recorded instead of 400: something was made twice or lost"
/usr/bin/python3 - "$scratch/out/.kalvatri-reports/all.json" "$first" << 'PYTHON'
import json, sys
totals = json.load(open(sys.argv[1]))["totals"]
assert (totals["done"], totals["skipped"]) == (400 - int(sys.argv[2]), int(sys.argv[2])), totals
PYTHON
echo "The parts gave the bytes of one run; nothing was made twice and nothing lost."
