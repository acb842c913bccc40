// The regional settings that the date and number conversions read: a
// stand-in for the system's own, with United States English as default.
//
// The settings are one process-wide record, read without a lock: a host
// changes it while no conversion runs on another thread.
#include <string.h>

#include "services/values.h"

namespace {

const ZEMRegional kDefault = {
    0, "/", ":", ".", ",", "$", 0, 2, "AM", "PM",
    {"January", "February", "March", "April", "May", "June", "July", "August", "September",
     "October", "November", "December"},
    {"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"},
    {"Sunday", "Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday"},
    {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"},
    0,
};

ZEMRegional gRegional = kDefault;

// A text field must end inside its array and hold at least one byte.
bool textOk(const char *text, size_t size) {
    size_t len = strnlen(text, size);
    return len > 0 && len < size;
}

bool hasDigit(const char *text) {
    for (; *text; text++)
        if (*text >= '0' && *text <= '9') return true;
    return false;
}

template <size_t N, size_t M>
bool namesOk(const char (&names)[N][M]) {
    for (size_t i = 0; i < N; i++)
        if (!textOk(names[i], M)) return false;
    return true;
}

bool settingsOk(const ZEMRegional *r) {
    if (r->dateOrder < 0 || r->dateOrder > 2) return false;
    if (r->currencyAfter < 0 || r->currencyAfter > 1) return false;
    if (r->currencyDecimals < 0 || r->currencyDecimals > 9) return false;
    if (r->clock24 < 0 || r->clock24 > 1) return false;
    const struct {
        const char *text;
        size_t size;
    } texts[] = {
        {r->dateSeparator, sizeof r->dateSeparator}, {r->timeSeparator, sizeof r->timeSeparator},
        {r->decimalPoint, sizeof r->decimalPoint},   {r->grouping, sizeof r->grouping},
        {r->currency, sizeof r->currency},           {r->am, sizeof r->am},
        {r->pm, sizeof r->pm},
    };
    for (const auto &t : texts)
        if (!textOk(t.text, t.size)) return false;
    // Digits in a separator or a point would make numbers and dates unreadable.
    if (hasDigit(r->dateSeparator) || hasDigit(r->timeSeparator) || hasDigit(r->decimalPoint) ||
        hasDigit(r->grouping))
        return false;
    if (strcmp(r->decimalPoint, r->grouping) == 0 || strcmp(r->am, r->pm) == 0) return false;
    return namesOk(r->monthNames) && namesOk(r->monthAbbrev) && namesOk(r->dayNames) &&
           namesOk(r->dayAbbrev);
}

}  // namespace

const ZEMRegional *SvcRegional(void) { return &gRegional; }

extern "C" {

// A record that fails a check is refused whole: nothing of it is applied.
ZEMAPI int ZEMCALL ZEMSetRegionalSettings(const ZEMRegional *settings) {
    if (settings && !settingsOk(settings)) return 0;
    gRegional = settings ? *settings : kDefault;
    return 1;
}

ZEMAPI void ZEMCALL ZEMGetRegionalSettings(ZEMRegional *out) {
    if (out) *out = gRegional;
}

}  // extern "C"
