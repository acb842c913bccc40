// The settings a host gives a context after creating it: the help path, the
// date wrapping formats and pictures, and the operator callbacks.
#include <string.h>

#include "context/ec.h"
#include "eval/convert.h"

// Puts an owned copy of text into a slot, releasing the former text; the
// slot is 0 when memory ran out.
static int replaceText(char **slot, const char *text) {
    SvcFree(*slot);
    *slot = SvcStrCopy(text);
    return *slot != 0;
}

extern "C" {

ZEMAPI int ZEMCALL ZEMSetHelpPath(HEC ec, const char *path, int32_t helpContext) {
    if (!ec) return 0;
    ec->helpContext = helpContext;
    size_t length = SvcStrLen(path);
    if (path && length < sizeof ec->helpPath) memcpy(ec->helpPath, path, length + 1);
    return 1;
}

ZEMAPI void ZEMCALL ZEMSetDateConvert(HEC ec, const char *date, const char *dateTime,
                                      const char *time, uint16_t flags) {
    if (!ec) return;
    ec->dateConvertFlags = flags;
    const char *formats[3] = {date, dateTime, time};
    for (int i = 0; i < 3; i++)
        if (formats[i]) replaceText(&ec->dateConvert[i], formats[i]);
}

ZEMAPI int ZEMCALL ZEMSetDatePicture(HEC ec, const char *date, const char *dateTime,
                                     const char *time) {
    if (!ec) return 1;
    const char *pictures[3] = {date, dateTime, time};
    for (int i = 0; i < 3; i++) {
        SvcFree(ec->datePicture[i]);
        ec->datePicture[i] = 0;
        if (pictures[i] && pictures[i][0]) ec->datePicture[i] = SvcStrCopy(pictures[i]);
    }
    // The formats go in the order of the pictures' kinds: date, time, date and time.
    ec->dateTextWidth =
        DatePictureWidth(ec->dateConvertFlags, ec->datePicture[0], ec->datePicture[1],
                         ec->datePicture[2], ec->dateConvert[0], ec->dateConvert[2],
                         ec->dateConvert[1]);
    return 1;
}

ZEMAPI int ZEMCALL ZEMSetOperatorCallback(HEC ec, int16_t op, int16_t dataType, const char *name) {
    if (!ec) return 0;
    ZEMOperatorCallback callback =
        ec->resolveCallback ? (ZEMOperatorCallback)ec->resolveCallback(name) : 0;
    // The table has four slots by data type; any other type has no place.
    if (op < 0 || op >= OP_COUNT || dataType < 0 || dataType >= OP_SLOTS) return 1;
    OperatorGroup &group = ec->operators[op];
    group.callbacks[dataType] = callback;
    if (!replaceText(&group.names[dataType], name)) {
        // The host learns of the loss only through the result 0.
        ZEMDestroyEC(ec);
        return 0;
    }
    return 1;
}

}  // extern "C"
