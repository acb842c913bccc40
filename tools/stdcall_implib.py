#!/usr/bin/env python3
"""Remakes the import library of the 32-bit zemi40.dll. The DLL exports
undecorated names (the linker's --kill-at), but a 32-bit host calls each
__stdcall function by its decorated name, _Name@N. From the .def that the
linker wrote (lines "Name = Name@N @ordinal") this writes one that lists the
decorated names, and dlltool --kill-at makes of it an import library whose
symbols are decorated and whose imports are by the undecorated names.
Usage: stdcall_implib.py DLLTOOL linker.def zemi40.dll libzemi40.dll.a"""
import subprocess
import sys


def main(dlltool, linker_def, dll, implib):
    lines = ['LIBRARY "%s"' % dll.replace('\\', '/').rsplit('/', 1)[-1], 'EXPORTS']
    with open(linker_def) as f:
        for line in f:
            parts = line.split()
            if len(parts) >= 3 and parts[1] == '=':
                lines.append('    ' + ' '.join(parts[2:]))  # "Name@N @ordinal"
            elif parts and parts[0] != 'EXPORTS':
                lines.append('    ' + ' '.join(parts))
    decorated = linker_def + '.decorated'
    with open(decorated, 'w') as f:
        f.write('\n'.join(lines) + '\n')
    subprocess.run([dlltool, '--kill-at', '-d', decorated, '-l', implib], check=True)


if __name__ == '__main__':
    if len(sys.argv) != 5:
        sys.exit(__doc__)
    main(*sys.argv[1:])
