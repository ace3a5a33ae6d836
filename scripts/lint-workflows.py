#!/usr/bin/env python3
"""Checks the GitHub Actions workflows under .github/workflows without GitHub: each file must parse
as YAML and have the shape GitHub accepts (triggers; jobs with runs-on and steps; each step one
`uses` or `run`; `${{ matrix.X }}` only for keys the job's matrix defines; `needs` naming jobs that
exist), and every `bash scripts/...` a step runs must exist in the repository. One line per file;
exit status 1 when any file fails. Needs python3-yaml."""
import pathlib
import re
import sys

import yaml

ROOT = pathlib.Path(__file__).resolve().parent.parent
STEP_KEYS = {"name", "id", "if", "uses", "run", "with", "env", "shell", "working-directory",
             "continue-on-error", "timeout-minutes"}
JOB_KEYS = {"name", "runs-on", "needs", "if", "steps", "strategy", "env", "timeout-minutes",
            "permissions", "concurrency", "defaults", "outputs", "environment", "container",
            "services", "continue-on-error"}


def matrix_keys(strategy):
    matrix = (strategy or {}).get("matrix") or {}
    if isinstance(matrix, str):  # an expression: keys unknown
        return None
    keys = {k for k in matrix if k not in ("include", "exclude")}
    for row in matrix.get("include") or []:
        keys.update(row)
    return keys


def problems(path):
    text = path.read_text()
    try:
        # GitHub reads `on` as a key; YAML 1.1 reads a bare `on` as true.
        document = yaml.load(text, Loader=yaml.BaseLoader)
    except yaml.YAMLError as error:
        yield f"not YAML: {error}"
        return
    if not isinstance(document, dict):
        yield "not a mapping"
        return
    if "on" not in document:
        yield "no `on` triggers"
    jobs = document.get("jobs")
    if not isinstance(jobs, dict) or not jobs:
        yield "no jobs"
        return
    for name, job in jobs.items():
        where = f"jobs.{name}"
        if not isinstance(job, dict):
            yield f"{where}: not a mapping"
            continue
        for key in set(job) - JOB_KEYS:
            yield f"{where}: unknown key `{key}`"
        if "runs-on" not in job:
            yield f"{where}: no runs-on"
        needs = job.get("needs") or []
        for need in [needs] if isinstance(needs, str) else needs:
            if need not in jobs:
                yield f"{where}: needs unknown job `{need}`"
        steps = job.get("steps")
        if not isinstance(steps, list) or not steps:
            yield f"{where}: no steps"
            continue
        keys = matrix_keys(job.get("strategy"))
        used = set(re.findall(r"\$\{\{\s*matrix\.([A-Za-z0-9_-]+)", yaml.dump(job)))
        used |= set(re.findall(r"matrix\.([A-Za-z0-9_-]+)", str(job.get("if", ""))))
        for step in steps:
            used |= set(re.findall(r"matrix\.([A-Za-z0-9_-]+)", str(step.get("if", ""))))
        if keys is not None:
            for key in sorted(used - keys):
                yield f"{where}: matrix.{key} is not in the job's matrix"
        for index, step in enumerate(steps):
            label = f"{where}.steps[{index}]"
            if not isinstance(step, dict):
                yield f"{label}: not a mapping"
                continue
            for key in set(step) - STEP_KEYS:
                yield f"{label}: unknown key `{key}`"
            if ("uses" in step) == ("run" in step):
                yield f"{label}: needs exactly one of `uses` and `run`"
            for script in re.findall(r"\bbash (scripts/[\w./-]+)", step.get("run", "")):
                if not (ROOT / script).is_file():
                    yield f"{label}: runs {script}, which does not exist"


def main():
    files = sorted((ROOT / ".github" / "workflows").glob("*.y*ml"))
    if not files:
        print("lint-workflows: no workflow found")
        return 1
    failed = 0
    for path in files:
        found = list(problems(path))
        relative = path.relative_to(ROOT)
        if found:
            failed += 1
            print(f"FAIL {relative}")
            for problem in found:
                print(f"  {problem}")
        else:
            print(f"ok   {relative}")
    print(f"lint-workflows: {'FAIL' if failed else 'PASS'} ({len(files) - failed} of {len(files)} workflows)")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
