#include "support/FailingInk.h"

#include <Stf2.h>
#include <dlfcn.h>

#include <atomic>
#include <string>

namespace {

std::string g_name;  // set while no other thread uses the library
int g_status = 0;
std::atomic<int> g_calls_left{-1};  // the call at 0 fails

int TakeFault(const char* name) {
  if (g_calls_left < 0 || g_name != name) return 0;
  return g_calls_left-- == 0 ? g_status : 0;
}

template <typename Function>
Function* Library(Function*, const char* name) {
  return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

template <typename... Out>
int Fail(int status, Out*... out) {
  ((*out = {}), ...);
  return status;
}

}  // namespace

void LetInkCallFail(const char* name, int status, int skip) {
  g_name = name == nullptr ? "" : name;
  g_status = status;
  g_calls_left = name == nullptr ? -1 : skip;
}

extern "C" {

int Stf2InkDataGetPenIdAsString(const InkDataHandle* ink, char** out) {
  if (const int status = TakeFault(__func__)) return Fail(status, out);
  return Library(&Stf2InkDataGetPenIdAsString, __func__)(ink, out);
}

int Stf2InkDataSplit(const InkDataHandle* ink, InkDataHandle*** out, uint32_t* count) {
  if (const int status = TakeFault(__func__)) return Fail(status, out, count);
  return Library(&Stf2InkDataSplit, __func__)(ink, out, count);
}

int Stf2InkDataGetItems(const InkDataHandle* ink, InkItemHandle*** out, uint32_t* count) {
  if (const int status = TakeFault(__func__)) return Fail(status, out, count);
  return Library(&Stf2InkDataGetItems, __func__)(ink, out, count);
}

int Stf2InkItemGetType(const InkItemHandle* item, uint32_t* out) {
  if (const int status = TakeFault(__func__)) return Fail(status, out);
  return Library(&Stf2InkItemGetType, __func__)(item, out);
}

int Stf2StrokeItemGetPageAddressAsString(const InkItemHandle* stroke, char** out) {
  if (const int status = TakeFault(__func__)) return Fail(status, out);
  return Library(&Stf2StrokeItemGetPageAddressAsString, __func__)(stroke, out);
}

int Stf2StrokeItemGetSamples(const InkItemHandle* stroke, SampleHandle*** out, uint32_t* count) {
  if (const int status = TakeFault(__func__)) return Fail(status, out, count);
  return Library(&Stf2StrokeItemGetSamples, __func__)(stroke, out, count);
}

int Stf2SampleGetType(const SampleHandle* sample, uint32_t* out) {
  if (const int status = TakeFault(__func__)) return Fail(status, out);
  return Library(&Stf2SampleGetType, __func__)(sample, out);
}

int Stf2CoordinateGetTime(const SampleHandle* sample, uint64_t* out) {
  if (const int status = TakeFault(__func__)) return Fail(status, out);
  return Library(&Stf2CoordinateGetTime, __func__)(sample, out);
}

int Stf2InkDataMergeInkItems(InkDataHandle* ink, InkItemHandle* const* items, uint32_t count) {
  if (const int status = TakeFault(__func__)) return status;
  return Library(&Stf2InkDataMergeInkItems, __func__)(ink, items, count);
}

int Stf2WriterWriteDataHandle(const InkDataHandle* ink, void** out, uint32_t* size) {
  if (const int status = TakeFault(__func__)) return Fail(status, out, size);
  return Library(&Stf2WriterWriteDataHandle, __func__)(ink, out, size);
}

}  // extern "C"
