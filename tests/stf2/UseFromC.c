/* Both libraries used from C: ink is made, written, opened, split, sealed and opened again. Exits 0
 * when every step answers as it should, otherwise names the line that did not. */

#include <Stf2.h>
#include <TalvoEncryption/Encryption.h>
#include <stdio.h>
#include <string.h>

#define EXPECT(condition)                                             \
  do {                                                                \
    if (!(condition)) {                                               \
      fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #condition); \
      return 1;                                                       \
    }                                                                 \
  } while (0)

static int WriteInk(void** data, uint32_t* size) {
  const Stf2Sample samples[] = {
      {0, 0, 0, 0, STF2_SAMPLE_PEN_DOWN, 0},
      {8, 1000, 2000, 30000, STF2_SAMPLE_COORDINATE, STF2_SAMPLE_HAS_TIME}};
  InkDataHandle* ink = NULL;
  EXPECT(Stf2InkDataCreate(81985529216486895u, &ink) == STF2_SUCCESS);
  EXPECT(Stf2InkDataAddProperty(ink, "title", "from C") == STF2_SUCCESS);
  EXPECT(Stf2InkDataAddStroke(ink, "1.2.3.4", 1700000000000u, samples, 2, 0xFF000000u, 0) ==
         STF2_SUCCESS);
  EXPECT(Stf2WriterWriteDataHandle(ink, data, size) == STF2_SUCCESS);
  EXPECT(Stf2InkDataFreeHandle(&ink) == STF2_SUCCESS);
  return 0;
}

static int ReadStroke(const InkItemHandle* item) {
  uint32_t type = 0;
  char* page = NULL;
  SampleHandle** samples = NULL;
  uint32_t count = 0;
  uint64_t time = 0;
  EXPECT(Stf2InkItemGetType(item, &type) == STF2_SUCCESS && type == STF2_ITEM_STROKE);
  EXPECT(Stf2StrokeItemGetPageAddressAsString(item, &page) == STF2_SUCCESS);
  EXPECT(strcmp(page, "1.2.3.4") == 0);
  EXPECT(Stf2FreeString(&page) == STF2_SUCCESS);
  EXPECT(Stf2StrokeItemGetSamples(item, &samples, &count) == STF2_SUCCESS && count == 2);
  EXPECT(Stf2CoordinateGetTime(samples[0], &time) == STF2_INVALID_ARGUMENT);
  EXPECT(Stf2CoordinateGetTime(samples[1], &time) == STF2_SUCCESS && time == 1700000000008u);
  EXPECT(Stf2SampleFreeHandle(&samples[0]) == STF2_SUCCESS);
  EXPECT(Stf2SampleFreeHandle(&samples[1]) == STF2_SUCCESS);
  EXPECT(Stf2SampleFreeHandles(&samples) == STF2_SUCCESS);
  return 0;
}

static int ReadInk(const void* data, uint32_t size) {
  InkDataHandle* ink = NULL;
  InkDataHandle** parts = NULL;
  InkItemHandle** items = NULL;
  char* pen = NULL;
  uint32_t count = 0;
  EXPECT(Stf2InkDataInitialize(data, size, &ink) == STF2_SUCCESS);
  EXPECT(Stf2InkDataGetPenIdAsString(ink, &pen) == STF2_SUCCESS);
  EXPECT(strcmp(pen, "0123-4567-89AB-CDEF") == 0);
  EXPECT(Stf2FreeString(&pen) == STF2_SUCCESS);
  EXPECT(Stf2InkDataSplit(ink, &parts, &count) == STF2_SUCCESS && count == 1);
  EXPECT(Stf2InkDataGetItems(parts[0], &items, &count) == STF2_SUCCESS && count == 2);
  EXPECT(ReadStroke(items[1]) == 0);
  EXPECT(Stf2InkItemFreeHandle(&items[0]) == STF2_SUCCESS);
  EXPECT(Stf2InkItemFreeHandle(&items[1]) == STF2_SUCCESS);
  EXPECT(Stf2InkItemFreeHandles(&items) == STF2_SUCCESS);
  EXPECT(Stf2InkDataFreeHandle(&parts[0]) == STF2_SUCCESS);
  EXPECT(Stf2InkDataFreeHandles(&parts) == STF2_SUCCESS);
  EXPECT(Stf2InkDataFreeHandle(&ink) == STF2_SUCCESS);
  return 0;
}

static int SealAndOpen(const void* data, uint32_t size) {
  uint8_t public_key[TALVO_KEY_BYTES];
  uint8_t secret_key[TALVO_KEY_BYTES];
  uint8_t* sealed = NULL;
  uint8_t* opened = NULL;
  uint8_t* pen = NULL;
  uint8_t* recipient = NULL;
  uint8_t algorithm = 0;
  uint32_t sealed_size = 0;
  uint32_t opened_size = 0;
  EXPECT(CreateKeyPair(public_key, secret_key) == TALVO_ENCRYPTION_SUCCESS);
  EXPECT(SealInkData(data, size, public_key, &sealed, &sealed_size) == TALVO_ENCRYPTION_SUCCESS);
  EXPECT(GetEncryptedDataInfo(sealed, sealed_size, &pen, &recipient, &algorithm) ==
         TALVO_ENCRYPTION_SUCCESS);
  EXPECT(pen[0] == 0x01 && pen[7] == 0xEF && algorithm == 1);
  EXPECT(OpenInkData(sealed, sealed_size, public_key, secret_key, &opened, &opened_size) ==
         TALVO_ENCRYPTION_SUCCESS);
  EXPECT(opened_size == size && memcmp(opened, data, size) == 0);
  EXPECT(FreeBuffer(&sealed) == TALVO_ENCRYPTION_SUCCESS);
  EXPECT(FreeBuffer(&opened) == TALVO_ENCRYPTION_SUCCESS);
  EXPECT(FreeBuffer(&pen) == TALVO_ENCRYPTION_SUCCESS);
  EXPECT(FreeBuffer(&recipient) == TALVO_ENCRYPTION_SUCCESS);
  return 0;
}

int main(void) {
  void* data = NULL;
  uint32_t size = 0;
  if (WriteInk(&data, &size) != 0 || ReadInk(data, size) != 0 || SealAndOpen(data, size) != 0)
    return 1;
  EXPECT(Stf2WriterFreeData(data) == STF2_SUCCESS);
  return 0;
}
