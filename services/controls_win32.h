// Stand-ins of the host's control classes. The dialogs name the CBCtrl
// classes of the host's control library; where the host has not registered
// one, the library registers a class of that name over the system's own
// (dialog, edit, static, button, list box) for as long as a dialog is open.
#ifndef ZEM_CONTROLS_WIN32_H
#define ZEM_CONTROLS_WIN32_H

// Before a dialog is made: registers what is missing. Calls nest.
void ControlClassesAcquire(void);
// After it is over: the outermost call unregisters what Acquire registered.
void ControlClassesRelease(void);

#endif
