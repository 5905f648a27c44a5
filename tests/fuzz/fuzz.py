"""Fuzzes every slot and package function with random argument lists, in watched workers.

    fuzz.py --cases 3000 --seed 1       # a run; each finding prints the line that replays it
    fuzz.py --seed 1 --show 417         # one case's arguments, then the case itself, in-process
    fuzz.py --structured --cases 3000   # argument lists valid for their built-in, or one mutation away

A worker that dies is a crash, one that answers no case within --timeout seconds is a hang; both
are restarted and the run goes on. Cases are numbered and drawn from (seed, number) alone, so
a finding replays on its own. Exit status 1 if anything was found."""
import argparse
import collections
import json
import os
import select
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(HERE))


class Worker:
    def __init__(self, seed, env, mode):
        self.log = tempfile.TemporaryFile()
        self.proc = subprocess.Popen([sys.executable, os.path.join(HERE, "worker.py"), str(seed)] + mode, env=env,
                                     stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=self.log, text=True)
        self.case = None
        self.started = 0.0

    def give(self, index):
        self.case, self.started = index, time.monotonic()
        self.proc.stdin.write(f"{index}\n")
        self.proc.stdin.flush()

    def last_words(self):
        """A sanitizer's report from its first line, or else the end of what the worker said."""
        self.log.seek(0)
        said = self.log.read().decode("utf-8", "replace")
        for mark in ("ERROR: AddressSanitizer", "runtime error:"):
            if mark in said:
                return said[said.index(mark):][:1500]
        return said[-1500:]

    def stop(self):
        if self.proc.poll() is None:
            self.proc.kill()
        self.proc.wait()
        self.log.close()


def found(findings, finding):
    """Keeps a finding and says it at once: a long run shows what it finds as it goes."""
    findings.append(finding)
    print(f"found: case {finding[0]} {finding[1]}: {finding[2][:300]}", flush=True)


def run(args, env):
    pending = collections.deque(range(args.first, args.first + args.cases))
    mode = ["structured"] if args.structured else []
    workers = [Worker(args.seed, env, mode) for _ in range(args.jobs)]
    outcomes, findings = collections.Counter(), []
    results, tried = collections.Counter(), collections.Counter()
    done = 0
    while done < args.cases:
        for w in workers:
            if w.case is None and pending:
                w.give(pending.popleft())
        busy = [w for w in workers if w.case is not None]
        ready, _, _ = select.select([w.proc.stdout for w in busy], [], [], 1.0)
        for i, w in enumerate(workers):
            if w.case is None:
                continue
            if w.proc.stdout in ready:
                line = w.proc.stdout.readline()
                if line:
                    report = json.loads(line)
                    outcomes[report["outcome"]] += 1
                    tried[report["target"]] += 1
                    results[report["target"]] += report["outcome"] == "result"
                    for f in report["findings"]:
                        found(findings, (w.case, report["target"], f))
                    w.case = None
                    done += 1
                    continue
                w.proc.wait()
                found(findings, (w.case, "", f"crash (exit {w.proc.returncode}): {w.last_words()}"))
            elif time.monotonic() - w.started > args.timeout:
                found(findings, (w.case, "", f"hang: no answer in {args.timeout} s"))
            else:
                continue
            w.stop()
            done += 1
            workers[i] = Worker(args.seed, env, mode)
    for w in workers:
        w.stop()
    return outcomes, findings, {t: results[t] / n for t, n in tried.items()}


def show(args, env):
    sys.path[:0] = [HERE, os.path.abspath(args.package)]
    os.environ.update(env)
    import cases
    import structured
    import worker
    make_case = structured.make_case if args.structured else cases.make_case
    target, call_args, nargout, threads = make_case(args.seed, args.show, cases.targets())
    print(f"case {args.show}: {target}, nargout={nargout}, threads={threads}")
    for a in call_args:
        print("  ", type(a).__name__, getattr(a, "dtype", ""), getattr(a, "shape", ""), repr(a)[:200])
    all_targets = cases.targets()
    worker.limit_memory()
    print(worker.run(args.seed, args.show, all_targets, make_case))


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--cases", type=int, default=3000)
    parser.add_argument("--first", type=int, default=0, help="number of the first case")
    parser.add_argument("--jobs", type=int, default=os.cpu_count() or 2)
    parser.add_argument("--timeout", type=float, default=60.0)
    parser.add_argument("--package", default=os.path.join(ROOT, "build", "python"))
    parser.add_argument("--memory", type=int, default=1024, help="MiB one result may take in a worker")
    parser.add_argument("--show", type=int, help="print and run one case in this process")
    parser.add_argument("--structured", action="store_true",
                        help="argument lists valid for their built-in or one mutation away (structured.py)")
    args = parser.parse_args()
    env = dict(os.environ, PYTHONPATH=os.path.abspath(args.package), VLMATHDSP_FUZZ_MEMORY_MB=str(args.memory))
    if "ASAN_OPTIONS" in env:  # the last setting of a flag holds
        env["ASAN_OPTIONS"] += f":max_allocation_size_mb={args.memory}"
    if args.show is not None:
        return show(args, env)
    start = time.monotonic()
    outcomes, findings, shares = run(args, env)
    print(f"fuzz: seed {args.seed}, cases {args.first} to {args.first + args.cases - 1}"
          f"{' (structured)' if args.structured else ''}, {time.monotonic() - start:.0f} s")
    for outcome, n in sorted(outcomes.items(), key=lambda kv: -kv[1]):
        print(f"  {n:6d}  {outcome}")
    print("cases that returned a result, by target:")
    for target, share in sorted(shares.items(), key=lambda kv: str(kv[0]).zfill(2)):
        print(f"  {100 * share:5.1f} %  {target}")
    if args.structured:
        # Every built-in must be reached: a third of its cases at least return a result.
        for target, share in sorted(shares.items(), key=lambda kv: str(kv[0]).zfill(2)):
            if share < 1 / 3 and target not in ("set_num_threads", "veltra.internal.language.versionPlugins.fftwVersionInfo"):
                findings.append((-1, target, f"only {100 * share:.0f} % of its cases return a result"))
    kinds = collections.Counter(f.split(":")[0].split(" (")[0] for _, _, f in findings)
    print("findings:", dict(kinds) if kinds else "none")
    for case, target, finding in findings:
        print(f"case {case} {target}: {finding}\n  replay: {sys.executable} {__file__} --seed {args.seed} "
              f"--package {args.package} --show {case}")
    failed = len({case for case, _, _ in findings})
    print(f"fuzz: {args.cases - failed} passed, {failed} failed")
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main())
