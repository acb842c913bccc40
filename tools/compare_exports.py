#!/usr/bin/env python3
"""Checks that Windows DLLs export exactly the names that the shared library
exports elsewhere, and besides them the window procedures of the dialogs,
which only Windows has. Usage: compare_exports.py libzemi40.so OBJDUMP
zemi40.dll [OBJDUMP zemi40.dll ...]. The shared library's names are its
defined dynamic symbols; a DLL's are the names of its export table. Exit 1
on any other difference, with the names that differ."""
import subprocess
import sys

# The dialog manager and the controls reach these by address.
WINDOW_PROCEDURES = {
    'ZemDlgProc', 'EditSubProc', 'StatusSubProc', 'LBFormsSubProc', 'LBVarsSubProc',
    'LBFuncsSubProc', 'ZEMErrorDlgProc', 'ZEMErrorEditProc', 'ZemViewTextDlgProc',
    'ZemListValuesDlgProc', 'ViewEditSubProc',
}


def shared_names(path):
    out = subprocess.run(['nm', '-D', '--defined-only', path], check=True,
                         capture_output=True, text=True).stdout
    return {line.split()[-1] for line in out.splitlines() if line.strip()}


def dll_names(objdump, path):
    out = subprocess.run([objdump, '-p', path], check=True,
                         capture_output=True, text=True).stdout
    names, inside = set(), False
    for line in out.splitlines():
        if line.startswith('[Ordinal/Name Pointer] Table'):
            inside = True
        elif inside and not line.strip():
            break
        elif inside:
            names.add(line.split()[-1])  # "\t[   0] FUNDateAddDay"
    return names


def main(args):
    if len(args) < 3 or len(args) % 2 == 0:
        sys.exit(__doc__)
    shared = shared_names(args[0])
    failed = False
    for name in sorted(shared & WINDOW_PROCEDURES):
        print('%s: exports the window procedure %s' % (args[0], name))
        failed = True
    want = shared | WINDOW_PROCEDURES
    for objdump, dll in zip(args[1::2], args[2::2]):
        got = dll_names(objdump, dll)
        for name in sorted(want - got):
            print('%s: missing %s' % (dll, name))
        for name in sorted(got - want):
            print('%s: extra %s' % (dll, name))
        if got != want or any('@' in n for n in got):
            failed = True
        else:
            print('%s: the %d names of %s and %d window procedures'
                  % (dll, len(shared), args[0], len(WINDOW_PROCEDURES)))
    sys.exit(1 if failed else 0)


if __name__ == '__main__':
    main(sys.argv[1:])
