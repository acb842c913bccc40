// Which table of window operations is in use.
#include "builder/ui.h"

namespace {
const BuilderUi *gUi = &gPlatformUi;
}

const BuilderUi *Ui(void) { return gUi; }

const BuilderUi *UiReplace(const BuilderUi *table) {
    const BuilderUi *former = gUi;
    gUi = table ? table : &gPlatformUi;
    return former;
}
