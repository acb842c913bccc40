// The boundary records keep their byte layout: these checks fail the build
// of a target where they would not.
#include <stddef.h>

#include "zemi40.h"

static_assert(sizeof(ExpParam) == 6, "parameter descriptor is 6 bytes");
static_assert(sizeof(ExpError) == 12, "error record is 12 bytes");
static_assert(offsetof(ExpError, start) == 4 && offsetof(ExpError, length) == 8, "error fields");
static_assert(sizeof(Number) == 25, "a value is 25 bytes");
static_assert(offsetof(ExpItem, kind) == 0 && offsetof(ExpItem, dataType) == 2, "item head");
static_assert(offsetof(ExpItem, functionName) == 4, "function name at 4");
static_assert(offsetof(ExpItem, callback) == 4 + sizeof(void *), "callback behind it");

// Everything behind the two pointer-sized fields shifts by their widening.
constexpr size_t kWiden = 2 * (sizeof(void *) - 4);
static_assert(offsetof(ExpItem, name) == 12 + kWiden, "name at 12");
static_assert(offsetof(ExpItem, paramCount) == 77 + kWiden, "parameter count at 77");
static_assert(offsetof(ExpItem, required) == 79 + kWiden, "required count at 79");
static_assert(offsetof(ExpItem, optional) == 81 + kWiden, "optional count at 81");
static_assert(offsetof(ExpItem, flags) == 83 + kWiden, "flags at 83");
static_assert(offsetof(ExpItem, params) == 85 + kWiden, "descriptors at 85");
static_assert(sizeof(ExpItem) == 91 + kWiden, "record with one descriptor is 91 bytes");
