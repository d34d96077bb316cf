/* Reading, splitting, merging and making STF2 ink: the strokes of one digital pen, by page.
 *
 * A C interface. Every function returns a status, 0 for success; on any other status its outputs
 * are null or 0 and nothing needs releasing. Null where a pointer is needed gives status 1.
 *
 * Handles. An InkDataHandle stands for the ink of one pen: a list of items (properties, markers,
 * strokes). One that was made by Stf2InkDataInitialize borrows the caller's buffer, which must stay
 * unchanged until the handle, every part split from it, and every item and sample handle got from
 * those are released. Item and sample handles borrow the ink data that they were got from. A
 * function that releases takes the address of the variable and sets it to null; releasing null is
 * allowed and does nothing.
 *
 * Threads. Different ink data may be used from different threads at once, parts split from one
 * buffer included. One handle may be read from several threads while nobody changes or releases
 * it.
 */

#ifndef TALVO_STF2_H
#define TALVO_STF2_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#pragma GCC visibility push(default)

/* Statuses. */
enum {
  STF2_SUCCESS = 0,
  STF2_INVALID_ARGUMENT = 1,
  STF2_MALFORMED = 2,
  STF2_ENCRYPTED = 3,
  STF2_OUT_OF_MEMORY = 4
};

/* Item types. */
enum { STF2_ITEM_PROPERTY = 1, STF2_ITEM_MARKER = 2, STF2_ITEM_STROKE = 3 };

/* Sample types. */
enum { STF2_SAMPLE_PEN_DOWN = 1, STF2_SAMPLE_PEN_UP = 2, STF2_SAMPLE_COORDINATE = 3 };

/* Sample flags. */
enum { STF2_SAMPLE_HAS_TIME = 1 };

typedef struct InkDataHandle InkDataHandle;
typedef struct InkItemHandle InkItemHandle;
typedef struct SampleHandle SampleHandle;

/* One sample as it is stored: 16 bytes, little-endian. */
typedef struct Stf2Sample {
  uint32_t time_offset_ms; /* after the stroke's start time */
  int32_t x_um;            /* micrometres from the page's left edge */
  int32_t y_um;            /* micrometres from the page's top edge */
  uint16_t force;          /* 0 none .. 65535 full */
  uint8_t type;            /* STF2_SAMPLE_... */
  uint8_t flags;           /* STF2_SAMPLE_HAS_TIME: the sample has a time */
} Stf2Sample;

/* ---- Reading ---------------------------------------------------------------------------- */

/* Checks the whole buffer and parses it in place. Status 3 for sealed ink, 2 for anything that is
 * no well-formed ink. Costs one pass over the buffer. */
int Stf2InkDataInitialize(const void* data, uint32_t size, InkDataHandle** out);

/* The pen's number; its text form (0123-4567-89AB-CDEF), to be released with Stf2FreeString. */
int Stf2InkDataGetPenId(const InkDataHandle* ink, uint64_t* out);
int Stf2InkDataGetPenIdAsString(const InkDataHandle* ink, char** out);

/* One part per distinct page address of the ink's strokes, in the order in which the pages first
 * appear; strokes without a page address go together into one part. Properties, and markers whose
 * page has no stroke, go into every part. Ink without strokes gives no part: *out null, *count 0.
 * Each part is released with Stf2InkDataFreeHandle, then the array with Stf2InkDataFreeHandles. No
 * sample is copied. */
int Stf2InkDataSplit(const InkDataHandle* ink, InkDataHandle*** out, uint32_t* count);

/* The items in their order (null and 0 where there are none): one allocation. Each is released
 * with Stf2InkItemFreeHandle, then the array with Stf2InkItemFreeHandles. */
int Stf2InkDataGetItems(const InkDataHandle* ink, InkItemHandle*** out, uint32_t* count);
int Stf2InkItemGetType(const InkItemHandle* item, uint32_t* out);

/* Strings of items, to be released with Stf2FreeString; null with status 0 where the item has
 * none. Status 1 where the item is of another type. */
int Stf2StrokeItemGetPageAddressAsString(const InkItemHandle* stroke, char** out);
int Stf2PropertyItemGetKeyAsString(const InkItemHandle* property, char** out);
int Stf2PropertyItemGetValueAsString(const InkItemHandle* property, char** out);
int Stf2MarkerItemGetPageAddressAsString(const InkItemHandle* marker, char** out);
int Stf2MarkerItemGetNameAsString(const InkItemHandle* marker, char** out);

/* Milliseconds since 1970-01-01 UTC, 0 where there is no time. */
int Stf2MarkerItemGetTime(const InkItemHandle* marker, uint64_t* out);
int Stf2StrokeItemGetStartTime(const InkItemHandle* stroke, uint64_t* out);

/* 0xAARRGGBB; micrometres, 0 for the default width. */
int Stf2StrokeItemGetColor(const InkItemHandle* stroke, uint32_t* out);
int Stf2StrokeItemGetWidth(const InkItemHandle* stroke, uint32_t* out);

/* The samples of a stroke (null and 0 where there are none): one allocation. Each is released with
 * Stf2SampleFreeHandle, then the array with Stf2SampleFreeHandles. */
int Stf2StrokeItemGetSamples(const InkItemHandle* stroke, SampleHandle*** out, uint32_t* count);
int Stf2SampleGetType(const SampleHandle* sample, uint32_t* out);

/* All samples of a stroke at once, in place: no allocation, nothing to release; valid as long as
 * the item handle. *out is null where there are none. */
int Stf2StrokeItemViewSamples(const InkItemHandle* stroke, const Stf2Sample** out, uint32_t* count);

/* Of a coordinate sample (status 1 for other types): milliseconds since 1970-01-01 UTC, 0 for no
 * time; micrometres from the page's left and top edge; force 0 to 65535. */
int Stf2CoordinateGetTime(const SampleHandle* sample, uint64_t* out);
int Stf2CoordinateGetPosition(const SampleHandle* sample, int32_t* x_um, int32_t* y_um);
int Stf2CoordinateGetForce(const SampleHandle* sample, uint16_t* out);

/* ---- Making ----------------------------------------------------------------------------- */

/* Empty ink of a pen. It owns all that is added to it. */
int Stf2InkDataCreate(uint64_t pen, InkDataHandle** out);

/* Each appends one item; strings are zero-terminated UTF-8 and copied, as are the samples. `value`,
 * `page` and `name` may be null for none; `key` may not. Any ink data may be added to, also one
 * that was read. */
int Stf2InkDataAddProperty(InkDataHandle* ink, const char* key, const char* value);
int Stf2InkDataAddMarker(InkDataHandle* ink, const char* page, uint64_t time_ms, const char* name);
int Stf2InkDataAddStroke(InkDataHandle* ink, const char* page, uint64_t start_time_ms,
                         const Stf2Sample* samples, uint32_t count, uint32_t color,
                         uint32_t width_um);

/* Appends copies of `items`, which may belong to other ink data, in their order. Nothing of their
 * ink data is referred to afterwards. On failure `ink` is as it was. */
int Stf2InkDataMergeInkItems(InkDataHandle* ink, InkItemHandle* const* items, uint32_t count);

/* The ink as a complete STF2 buffer, to be released with Stf2WriterFreeData. Parsing it gives the
 * same pen and items. */
int Stf2WriterWriteDataHandle(const InkDataHandle* ink, void** out, uint32_t* size);

/* ---- Releasing -------------------------------------------------------------------------- */

int Stf2InkDataFreeHandle(InkDataHandle** ink);
int Stf2InkDataFreeHandles(InkDataHandle*** array);
int Stf2InkItemFreeHandle(InkItemHandle** item);
int Stf2InkItemFreeHandles(InkItemHandle*** array);
int Stf2SampleFreeHandle(SampleHandle** sample);
int Stf2SampleFreeHandles(SampleHandle*** array);
int Stf2FreeString(char** string);
int Stf2WriterFreeData(void* data);

#pragma GCC visibility pop

#ifdef __cplusplus
}
#endif

#endif
