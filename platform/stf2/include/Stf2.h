/* Reading, splitting, merging and making STF2 ink: the strokes of one digital pen, by page.
 *
 * A C interface; docs/stf2-format.md describes the bytes. Every function returns a status, 0 for
 * success; on any other status its outputs are null or 0 and nothing needs releasing. Null where a
 * pointer is needed gives status 1. No exception leaves a function, and none blocks or logs.
 *
 * Handles and ownership. An InkDataHandle stands for the ink of one pen: a list of items
 * (properties, markers, strokes). One that was made by Stf2InkDataInitialize borrows the caller's
 * buffer, which must stay unchanged until the handle, every part split from it, and every item and
 * sample handle got from those are released. All else that ink data holds it owns: a part may
 * outlive the handle that it was split from. Item and sample handles borrow the ink data that they
 * were got from and stay valid while ink is added to it. They are pointers into the data, without
 * memory of their own: only the arrays that they come in are allocated. Strings and arrays belong
 * to the caller, who releases them with the function named at each; free() is not that function.
 * A function that releases takes the address of the variable and sets it to null; releasing null is
 * allowed and does nothing.
 *
 * Threads. Any function may be called from any thread, and different ink data may be used from
 * different threads at the same time, parts split from one buffer included. One handle may be read
 * from several threads while nobody adds to it or releases it. Nothing is shared between handles
 * but what never changes.
 *
 * Cost. Opening is one pass over the items and their strings; samples are not touched. Whatever a
 * file claims to hold, no later call takes more memory than a few times its size, and none
 * recurses. Getting the items or the samples is one allocation and linear in their number; a value
 * of an item or a sample is read in constant time; a string is one copy of it.
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
  STF2_INVALID_ARGUMENT = 1, /* null, an item of another type, a string that is not UTF-8 */
  STF2_MALFORMED = 2,        /* not STF2, or damaged */
  STF2_ENCRYPTED = 3,        /* sealed ink: TalvoEncryption/Encryption.h opens it */
  STF2_OUT_OF_MEMORY = 4 /* there is not enough, or the result would break a limit named below */
};

/* Item types. */
enum { STF2_ITEM_PROPERTY = 1, STF2_ITEM_MARKER = 2, STF2_ITEM_STROKE = 3 };

/* Sample types. Others may come with later versions of the format: they are handed out as they
 * are, and a reader passes over what it does not know. */
enum { STF2_SAMPLE_PEN_DOWN = 1, STF2_SAMPLE_PEN_UP = 2, STF2_SAMPLE_COORDINATE = 3 };

/* Sample flags; the other bits are reserved. */
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

/* Opens a whole STF2 buffer in place, after checking all of it: every offset leads into the buffer,
 * every item has a body of a known type, every string is UTF-8 without zero bytes, and the items
 * together claim no more than the buffer can hold. Bytes behind the ink are ignored.
 *
 * Status 3 for sealed ink (identifier "STFE", nothing else of it is looked at), 2 for anything that
 * is not well-formed ink, buffers under 8 bytes and of 2 GiB or more included.
 *
 * Costs one pass over items and strings and one small allocation. A buffer whose address is not a
 * multiple of 8 is copied first. */
int Stf2InkDataInitialize(const void* data, uint32_t size, InkDataHandle** out);

/* The pen's number; its text form (0123-4567-89AB-CDEF), to be released with Stf2FreeString. */
int Stf2InkDataGetPenId(const InkDataHandle* ink, uint64_t* out);
int Stf2InkDataGetPenIdAsString(const InkDataHandle* ink, char** out);

/* One part per distinct page address of the ink's strokes, in the order in which the pages first
 * appear; addresses are compared as text. Strokes without a page address, or with an empty one, go
 * together into one part. A page's strokes and markers keep their order. Properties, and markers
 * without a page or whose page has no stroke, go into every part, where they stood among its items.
 * Ink without strokes gives no part: *out null, *count 0.
 *
 * Each part is released with Stf2InkDataFreeHandle, then the array with Stf2InkDataFreeHandles.
 *
 * No sample is copied, and what goes into every part is listed once for all of them. Time: linear
 * in the items, times the logarithm of the number of pages where the page changes. Status 4 also
 * if the parts, written, would repeat more than 1 GiB of properties and markers. */
int Stf2InkDataSplit(const InkDataHandle* ink, InkDataHandle*** out, uint32_t* count);

/* The items in their order (null and 0 if there are none). Each is released with
 * Stf2InkItemFreeHandle, then the array with Stf2InkItemFreeHandles. One allocation. */
int Stf2InkDataGetItems(const InkDataHandle* ink, InkItemHandle*** out, uint32_t* count);

/* STF2_ITEM_...; never another number. */
int Stf2InkItemGetType(const InkItemHandle* item, uint32_t* out);

/* Strings of items: UTF-8, ended by a zero byte, to be released with Stf2FreeString; null with
 * status 0 if the item has none. Status 1 if the item is of another type. */
int Stf2StrokeItemGetPageAddressAsString(const InkItemHandle* stroke, char** out);
int Stf2PropertyItemGetKeyAsString(const InkItemHandle* property, char** out);
int Stf2PropertyItemGetValueAsString(const InkItemHandle* property, char** out);
int Stf2MarkerItemGetPageAddressAsString(const InkItemHandle* marker, char** out);
int Stf2MarkerItemGetNameAsString(const InkItemHandle* marker, char** out);

/* Milliseconds since 1970-01-01 UTC, 0 if there is no time. Status 1 if the item is of
 * another type. */
int Stf2MarkerItemGetTime(const InkItemHandle* marker, uint64_t* out);
int Stf2StrokeItemGetStartTime(const InkItemHandle* stroke, uint64_t* out);

/* 0xAARRGGBB, opaque black if the stroke names none; micrometres, 0 for the default width.
 * Status 1 if the item is of another type. */
int Stf2StrokeItemGetColor(const InkItemHandle* stroke, uint32_t* out);
int Stf2StrokeItemGetWidth(const InkItemHandle* stroke, uint32_t* out);

/* The samples of a stroke (null and 0 if there are none), status 1 for other items. Each is
 * released with Stf2SampleFreeHandle, then the array with Stf2SampleFreeHandles. One allocation of
 * 24 bytes a sample; Stf2StrokeItemViewSamples is the way to many of them. */
int Stf2StrokeItemGetSamples(const InkItemHandle* stroke, SampleHandle*** out, uint32_t* count);

/* STF2_SAMPLE_..., or a number that this version does not know. */
int Stf2SampleGetType(const SampleHandle* sample, uint32_t* out);

/* All samples of a stroke together, in place: no allocation, nothing to release; valid as long as
 * the item handle. *out is null if there are none. Status 1 for other items. */
int Stf2StrokeItemViewSamples(const InkItemHandle* stroke, const Stf2Sample** out, uint32_t* count);

/* Of a coordinate sample (status 1 for other types): milliseconds since 1970-01-01 UTC, which is
 * the stroke's start time plus the sample's offset, 0 if the stroke has no start time, the
 * sample no time, or the sum no 64-bit number; micrometres from the page's left and top edge; force
 * 0 to 65535. */
int Stf2CoordinateGetTime(const SampleHandle* sample, uint64_t* out);
int Stf2CoordinateGetPosition(const SampleHandle* sample, int32_t* x_um, int32_t* y_um);
int Stf2CoordinateGetForce(const SampleHandle* sample, uint16_t* out);

/* ---- Making ----------------------------------------------------------------------------- */

/* Empty ink of a pen, released with Stf2InkDataFreeHandle. It owns all that is added to it. */
int Stf2InkDataCreate(uint64_t pen, InkDataHandle** out);

/* Each appends one item; strings are zero-terminated UTF-8 and copied, as are the samples. `value`,
 * `page` and `name` may be null for none; `key` may not, nor may `samples` with a `count` above 0.
 * Times are milliseconds since 1970-01-01 UTC, 0 for none; color and width as they are read above.
 * Samples are stored as they are, also those of a type or with flags that this version does not
 * know, so that ink of a later one can be written again. Status 1 for a string that is not UTF-8;
 * if the status is not 0, `ink` is unchanged. Any ink data may be added to, also one that was
 * read or is a part; the buffer that it borrows is not touched. An item costs about 300 bytes
 * beside its content. */
int Stf2InkDataAddProperty(InkDataHandle* ink, const char* key, const char* value);
int Stf2InkDataAddMarker(InkDataHandle* ink, const char* page, uint64_t time_ms, const char* name);
int Stf2InkDataAddStroke(InkDataHandle* ink, const char* page, uint64_t start_time_ms,
                         const Stf2Sample* samples, uint32_t count, uint32_t color,
                         uint32_t width_um);

/* Appends copies of `items`, which may belong to other ink data or to `ink` itself, in their order.
 * `ink` keeps its pen. Nothing of the items' ink data is referred to afterwards: it may be
 * released, and its buffer unmapped, immediately. On failure `ink` is as it was. One copy of each
 * sample; status 4 if the copies would take 2 GiB. */
int Stf2InkDataMergeInkItems(InkDataHandle* ink, InkItemHandle* const* items, uint32_t count);

/* The ink as a complete STF2 buffer, aligned to 8 bytes, to be released with Stf2WriterFreeData,
 * which needs only the pointer. Parsing it gives the same pen and items, and the same items are
 * always written as the same bytes. One copy of each sample, into one block that is little larger
 * than the result; status 4 if that would be 2 GiB. */
int Stf2WriterWriteDataHandle(const InkDataHandle* ink, void** out, uint32_t* size);

/* ---- Releasing -------------------------------------------------------------------------- */

/* The functions that end in -s release an array alone, not what it holds. */
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
