#!/usr/bin/env python3
"""Runs end-to-end cases of tanzaku and compares bytes.

A case is a folder tests/cli/<case>/ with:
  cmd        the arguments after `tanzaku`, one line, shell quoting; run in the
             copy of in/ as the current folder. {work} and {home} stand for the two
             temporary folders below.
  in/        the input tree (optional), copied to a temporary folder {work}
  home/      files beside the program (optional), copied to {home} (TANZAKU_HOME)
  env        extra environment lines KEY=VALUE (optional); TZ=Asia/Tokyo and
             LC_ALL=C are set by default
  stdout     the expected standard output; the temporary folder shows as {TMP}
  exit       the expected exit status
  out/       every file of {work} that the run made or changed, expected bytes
  home_out/  every file of {home} that the run made or changed (optional)

  run_cli.py --bin build/release/tanzaku [--update] case_dir...

--update rewrites stdout, exit, out/ and home_out/ from what the program did, so that
a deliberate change is one reviewed diff.
"""
import argparse
import difflib
import os
import shlex
import shutil
import subprocess
import sys
import tempfile


def tree_files(root):
    result = {}
    if not os.path.isdir(root):
        return result
    for dirpath, _dirs, files in os.walk(root):
        for name in files:
            full = os.path.join(dirpath, name)
            rel = os.path.relpath(full, root)
            with open(full, "rb") as fh:
                result[rel] = fh.read()
    return result


def changed_files(before_root, after_root):
    """Files of after_root that are new or differ from before_root."""
    before = tree_files(before_root)
    after = tree_files(after_root)
    return {rel: data for rel, data in after.items() if before.get(rel) != data}


def show_diff(label, expected, actual):
    print(f"--- {label}: expected {len(expected)} bytes, got {len(actual)} bytes")
    exp_lines = expected.decode("utf-8", "backslashreplace").splitlines(keepends=True)
    act_lines = actual.decode("utf-8", "backslashreplace").splitlines(keepends=True)
    diff = difflib.unified_diff(exp_lines, act_lines, "expected", "actual", n=2)
    for i, line in enumerate(diff):
        if i > 60:
            print("    ...")
            break
        print("    " + repr(line))


def write_tree(root, files):
    if os.path.isdir(root):
        shutil.rmtree(root)
    for rel, data in files.items():
        path = os.path.join(root, rel)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "wb") as fh:
            fh.write(data)


def run_case(binary, case, update):
    name = os.path.basename(os.path.normpath(case))
    tmp = tempfile.mkdtemp(prefix="tzcli-")
    try:
        work = os.path.join(tmp, "work")
        home = os.path.join(tmp, "home")
        user = os.path.join(tmp, "user")
        for src, dst in ((os.path.join(case, "in"), work), (os.path.join(case, "home"), home)):
            if os.path.isdir(src):
                shutil.copytree(src, dst, symlinks=True)
            else:
                os.makedirs(dst)
        os.makedirs(user)
        with open(os.path.join(case, "cmd"), encoding="utf-8") as fh:
            line = fh.read().strip()
        args = [a.replace("{work}", work).replace("{home}", home) for a in shlex.split(line)]
        env = {"PATH": os.environ.get("PATH", "/usr/bin:/bin"), "HOME": user,
               "TZ": "Asia/Tokyo", "LC_ALL": "C", "TANZAKU_HOME": home}
        env_file = os.path.join(case, "env")
        if os.path.exists(env_file):
            with open(env_file, encoding="utf-8") as fh:
                for entry in fh.read().splitlines():
                    if "=" in entry:
                        key, value = entry.split("=", 1)
                        env[key] = value.replace("{work}", work).replace("{home}", home)
        proc = subprocess.run([binary] + args, cwd=work, env=env, capture_output=True,
                              timeout=120)
        stdout = proc.stdout.replace(tmp.encode(), b"{TMP}")
        out = changed_files(os.path.join(case, "in"), work)
        home_out = changed_files(os.path.join(case, "home"), home)
        for files in (out, home_out):
            for rel in files:
                files[rel] = files[rel].replace(tmp.encode(), b"{TMP}")

        if update:
            with open(os.path.join(case, "stdout"), "wb") as fh:
                fh.write(stdout)
            with open(os.path.join(case, "exit"), "w") as fh:
                fh.write(f"{proc.returncode}\n")
            write_tree(os.path.join(case, "out"), out)
            if home_out or os.path.isdir(os.path.join(case, "home_out")):
                write_tree(os.path.join(case, "home_out"), home_out)
            print(f"updated {name}")
            return True

        ok = True
        with open(os.path.join(case, "exit")) as fh:
            want_exit = int(fh.read().strip())
        if proc.returncode != want_exit:
            print(f"--- exit status: expected {want_exit}, got {proc.returncode}")
            ok = False
        with open(os.path.join(case, "stdout"), "rb") as fh:
            want_stdout = fh.read()
        if stdout != want_stdout:
            show_diff("stdout", want_stdout, stdout)
            ok = False
        checks = [("out", out)]
        if os.path.isdir(os.path.join(case, "home_out")):
            checks.append(("home_out", home_out))
        for label, actual in checks:
            expected = tree_files(os.path.join(case, label))
            for rel in sorted(set(expected) | set(actual)):
                if rel not in actual:
                    print(f"--- {label}/{rel}: expected, but not written")
                    ok = False
                elif rel not in expected:
                    print(f"--- {label}/{rel}: written, but not expected")
                    ok = False
                elif expected[rel] != actual[rel]:
                    show_diff(f"{label}/{rel}", expected[rel], actual[rel])
                    ok = False
        if proc.stderr:
            print("--- stderr:\n" + proc.stderr.decode("utf-8", "backslashreplace")[:2000])
        print(f"{'ok  ' if ok else 'FAIL'} {name}")
        return ok
    finally:
        shutil.rmtree(tmp, ignore_errors=True)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--bin", required=True)
    parser.add_argument("--update", action="store_true")
    parser.add_argument("cases", nargs="+")
    opts = parser.parse_args()
    binary = os.path.abspath(opts.bin)
    results = [run_case(binary, case, opts.update) for case in opts.cases]
    sys.exit(0 if all(results) else 1)


if __name__ == "__main__":
    main()
