"""Instruction counts by callgrind, for `report`.

The decoder's instructions are those below the work that is measured, less those below its calls into the provider: the
border is that of the shared library, so it is clean however the compiler inlines. Where an exception passes, callgrind
enters the same calls more than once, so there only the sum is known.
"""
import pathlib
import re
import subprocess
import tempfile

PROVIDER = "libDrovanModel.so"
# The C library picks routines by what the processor can do. These are the ones that every x86-64 has.
TUNABLES = "glibc.cpu.hwcaps=-AVX2,-AVX,-AVX_Fast_Unaligned_Load,-AVX512F,-AVX512VL,-AVX512BW,-ERMS,-FSRM,-BMI2,-LZCNT,-MOVBE,-RTM,-SSE4_2,-SSSE3"
ENVIRONMENT = {"PATH": "/usr/bin:/bin", "LC_ALL": "C", "LD_BIND_NOW": "1", "GLIBC_TUNABLES": TUNABLES}


def read_dump(lines, is_provider):
    """Instructions in all, and those below calls into the provider."""
    total, below, inside, callee_inside, calls = 0, 0, False, None, False
    for line in lines:
        if line.startswith("ob="):
            inside = is_provider(line[3:])
        elif line.startswith("cob="):
            callee_inside = is_provider(line[4:])
        elif line.startswith("calls="):
            calls = True
        elif line[0].isdigit() or line[0] in "+-*":
            cost = int(line.split()[1])
            if calls:
                # Without an object of its own, what is called lies in the caller's.
                if callee_inside and not inside:
                    below += cost
                calls, callee_inside = False, None
            else:
                total += cost
    return total, below


def count(program, text=""):
    """For each work of the program: instructions of one round, in all and the decoder's."""
    result = {}
    with tempfile.TemporaryDirectory() as scratch:
        out = pathlib.Path(scratch, "out")
        command = ["valgrind", "--tool=callgrind", "--toggle-collect=measured", "--compress-strings=no",
                   "--compress-pos=no", f"--callgrind-out-file={out}", str(program), "--count", text]
        run = subprocess.run(command, env=ENVIRONMENT, capture_output=True, text=True)
        if run.returncode:
            raise SystemExit(f"bench: {' '.join(command)} failed:\n{run.stderr}")
        for dump in sorted(pathlib.Path(scratch).glob("out.*"), key=lambda path: int(path.suffix[1:])):
            lines = [line for line in dump.read_text().splitlines() if line]
            title = next((re.match(r"desc: Trigger: Client Request: (.*) x (\d+)$", line) for line in lines
                          if line.startswith("desc: Trigger: Client")), None)
            if title:
                total, below = read_dump(lines, lambda name: PROVIDER in name)
                rounds = int(title.group(2))
                throws = any(line.startswith(("fn=_Unwind_RaiseException", "cfn=_Unwind_RaiseException")) for line in lines)
                result[title.group(1)] = {"whole": round(total / rounds),
                                          "decoder": None if throws else round((total - below) / rounds)}
    return result
