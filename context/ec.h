// The expression context: the one record a host holds.
#ifndef ZEM_EC_H
#define ZEM_EC_H

#include <stdint.h>

#include "services/services.h"
#include "zemi40.h"

enum { OP_PLUS = 0, OP_MINUS = 1, OP_DIVIDE = 2, OP_MULTIPLY = 3, OP_CONCAT = 4, OP_COUNT = 5 };
enum { OP_SLOTS = 4 };  // by data type: Number, DateTime, String, Keyword

struct OperatorGroup {
    char *names[OP_SLOTS];
    ZEMOperatorCallback callbacks[OP_SLOTS];
};

struct EC {
    HZEMWND ownerWindow;
    HARRAY expressions;  // ExpRecord pointers, 0 while empty
    HARRAY functions;    // ExpItem pointers of kind 0
    HARRAY inputItems;   // kind 1
    HARRAY keywords;     // kind 3
    ZEMResolveCallback resolveCallback;
    int32_t concatAllowed;
    intptr_t userLong;
    uint16_t nextFormulaNumber;
    uint16_t nextRangeNumber;
    uint16_t nextSetNumber;
    char *datePicture[3];
    int32_t dateTextWidth;
    ZEMDelPermissionCallback delPermissionCallback;
    ZEMNotifyCallback notifyCallback;
    ZEMListValuesCallback listValuesCallback;
    ZEMRenameCallback renameCallback;
    uint16_t flags;
    char *dateConvert[3];
    uint16_t dateConvertFlags;
    OperatorGroup operators[OP_COUNT];
    int32_t helpContext;
    char helpPath[520];
    ZEMRepairCallback repairCallback;  // a host's own repair of a block's text
    struct NameIndex *nameIndex[4];    // of each store, by item kind (context/nameindex.h)
};

// Whether an operator (its character; 37 is %) may stand on a left operand
// of a data type.
int operatorAllowed(const EC *ec, int op, int dataType);

// The operator code of an operator character, or -1 for one without a group.
int operatorCode(int op);

#endif
