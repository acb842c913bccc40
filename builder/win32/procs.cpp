// The exported window procedures: thin translations of Win32 messages to
// the builder's event functions. The handlers on controls call the former
// procedure themselves.
#include "builder/win32/procs.h"

#include "builder/builder.h"

namespace {

// An owner-drawn row of the expressions list, as the builder draws it.
INT_PTR drawItem(HWND dialog, WPARAM wParam, const DRAWITEMSTRUCT *dis) {
    UiDrawItem item;
    item.action = dis->itemAction;
    item.state = dis->itemState;
    item.row = (int32_t)dis->itemID;
    item.rect = UiRect{dis->rcItem.left, dis->rcItem.top, dis->rcItem.right, dis->rcItem.bottom};
    item.dc = dis->hDC;
    return BuilderEvent(dialog, WM_DRAWITEM, wParam, (intptr_t)&item);
}

}  // namespace

INT_PTR CALLBACK ZemDlgProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_DRAWITEM) return drawItem(dialog, wParam, (const DRAWITEMSTRUCT *)lParam);
    if (message == WM_MEASUREITEM) {
        intptr_t height = BuilderEvent(dialog, message, wParam, lParam);
        if (height <= 0) return FALSE;
        ((MEASUREITEMSTRUCT *)lParam)->itemHeight = (UINT)height;
        return TRUE;
    }
    return BuilderEvent(dialog, message, wParam, lParam);
}

INT_PTR CALLBACK ZEMErrorDlgProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam) {
    return ErrorDialogEvent(dialog, message, wParam, lParam);
}

INT_PTR CALLBACK ZemViewTextDlgProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam) {
    return TextViewEvent(dialog, message, wParam, lParam);
}

INT_PTR CALLBACK ZemListValuesDlgProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam) {
    return ValuesViewEvent(dialog, message, wParam, lParam);
}

LRESULT CALLBACK EditSubProc(HWND field, UINT message, WPARAM wParam, LPARAM lParam) {
    return EditFieldEvent(field, message, wParam, lParam);
}

LRESULT CALLBACK StatusSubProc(HWND pane, UINT message, WPARAM wParam, LPARAM lParam) {
    return StatusPaneEvent(pane, message, wParam, lParam);
}

LRESULT CALLBACK LBFormsSubProc(HWND list, UINT message, WPARAM wParam, LPARAM lParam) {
    return FormsListEvent(list, message, wParam, lParam);
}

// The data items and the functions lists share one handler.
LRESULT CALLBACK LBVarsSubProc(HWND list, UINT message, WPARAM wParam, LPARAM lParam) {
    return ItemListEvent(list, message, wParam, lParam);
}

LRESULT CALLBACK LBFuncsSubProc(HWND list, UINT message, WPARAM wParam, LPARAM lParam) {
    return ItemListEvent(list, message, wParam, lParam);
}

LRESULT CALLBACK ZEMErrorEditProc(HWND field, UINT message, WPARAM wParam, LPARAM lParam) {
    return ErrorEditEvent(field, message, wParam, lParam);
}

LRESULT CALLBACK ViewEditSubProc(HWND field, UINT message, WPARAM wParam, LPARAM lParam) {
    return ViewEditEvent(field, message, wParam, lParam);
}
