#include "support/FailingInk.h"

#include <Stf2.h>
#include <dlfcn.h>

#include <condition_variable>
#include <mutex>
#include <string>

#include "support/Patience.h"

namespace {

std::mutex g_mutex;  // guards all below
std::condition_variable g_changed;
std::string g_failing;
int g_status = 0;
int g_skip = 0;
std::string g_paused;
bool g_reached = false;

int TakeFault(const char* name) {
  std::unique_lock<std::mutex> lock(g_mutex);
  if (g_paused == name) {
    g_reached = true;
    g_changed.notify_all();
    g_changed.wait(lock, [name] { return g_paused != name; });
  }
  if (g_failing != name || g_skip-- > 0) return 0;
  g_failing.clear();
  return g_status;
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
  const std::lock_guard<std::mutex> lock(g_mutex);
  g_failing = name == nullptr ? "" : name;
  g_status = status;
  g_skip = skip;
}

InkCallPause::InkCallPause(const char* name) {
  const std::lock_guard<std::mutex> lock(g_mutex);
  g_paused = name;
  g_reached = false;
}

InkCallPause::~InkCallPause() {
  LetGo();
}

bool InkCallPause::WaitUntilReached() {
  std::unique_lock<std::mutex> lock(g_mutex);
  return g_changed.wait_for(lock, kPatience, [] { return g_reached; });
}

void InkCallPause::LetGo() {
  const std::lock_guard<std::mutex> lock(g_mutex);
  g_paused.clear();
  g_changed.notify_all();
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
