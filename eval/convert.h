// Values to text and text to values: the rules between the evaluator, the
// built-ins, the tokeniser and extended text on one side and the conversion
// services on the other. Each rule settles the kinds it tries and in which
// order, what its failure gives, and which shared locale data it takes
// under the date lock.
#ifndef ZEM_CONVERT_H
#define ZEM_CONVERT_H

#include "services/values.h"

// Literal kinds that DateLiteralRewrite gives.
enum { LITERAL_DATE = 8, LITERAL_TIME = 9, LITERAL_DATE_TIME = 10 };

// A date and time text in the default format (or a time alone) into result:
// 1, or 0 with result untouched.
int TextToDate(DateTime *result, const char *text);
// The default date and time text. A null date gives 1 and the empty text.
int DateToText(const DateTime *date, char *output);
// The text by a date picture: 1 and the empty text for a null date, 0 for a
// bad picture, else the service's verdict.
int DateToTextPicture(const DateTime *date, const char *picture, char *output);
// 1 and the number, or 0 with result zero.
int TextToNumber(Number *result, const char *text);
// Plain digits with "." and exactly `decimals` digits behind it.
int NumberToText(const Number *number, int32_t decimals, char *output);
// 0 for a bad picture, else the service's verdict.
int NumberToTextPicture(const Number *number, const char *picture, char *output);
int NumberToRegional(const Number *number, char *output);
int NumberToCurrencyText(const Number *number, char *output);
// The most bytes a rewritten date literal can take under the pictures; with
// bit 0x0002 of flags the longest of the wrapping formats is added.
int32_t DatePictureWidth(uint16_t flags, const char *picture1, const char *picture2,
                         const char *picture3, const char *format1, const char *format3,
                         const char *format2);
// The literal's text in the picture of its kind: the literal kind (8, 9,
// 10), or 0 when the text is no date or time. A null picture for the kind
// gives the kind and the empty text.
int DateLiteralRewrite(const char *text, char *output, const char *picture1,
                       const char *picture2, const char *picture3);

// Loads the process's locale block once, and copies its fields into the
// request for a picture conversion. Takes the date lock.
void LoadLocaleFields(ConvRequest *request);
// 1 until the first load of the locale block.
int LocaleDirty(void);

#endif
