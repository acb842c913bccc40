// The window procedures of the builder and of the error dialogs, exported
// under their own names: the dialog manager and the controls reach them by
// address. Each hands its messages to the event functions of builder.h.
#ifndef ZEM_WIN32_PROCS_H
#define ZEM_WIN32_PROCS_H

#include <windows.h>

#include "zemi40.h"

extern "C" {
ZEMAPI INT_PTR CALLBACK ZemDlgProc(HWND, UINT, WPARAM, LPARAM);
ZEMAPI INT_PTR CALLBACK ZEMErrorDlgProc(HWND, UINT, WPARAM, LPARAM);
ZEMAPI INT_PTR CALLBACK ZemViewTextDlgProc(HWND, UINT, WPARAM, LPARAM);
ZEMAPI INT_PTR CALLBACK ZemListValuesDlgProc(HWND, UINT, WPARAM, LPARAM);
ZEMAPI LRESULT CALLBACK EditSubProc(HWND, UINT, WPARAM, LPARAM);
ZEMAPI LRESULT CALLBACK StatusSubProc(HWND, UINT, WPARAM, LPARAM);
ZEMAPI LRESULT CALLBACK LBFormsSubProc(HWND, UINT, WPARAM, LPARAM);
ZEMAPI LRESULT CALLBACK LBVarsSubProc(HWND, UINT, WPARAM, LPARAM);
ZEMAPI LRESULT CALLBACK LBFuncsSubProc(HWND, UINT, WPARAM, LPARAM);
ZEMAPI LRESULT CALLBACK ZEMErrorEditProc(HWND, UINT, WPARAM, LPARAM);
ZEMAPI LRESULT CALLBACK ViewEditSubProc(HWND, UINT, WPARAM, LPARAM);
}

#endif
