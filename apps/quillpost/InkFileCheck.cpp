#include "InkFileCheck.h"

#include <TalvoCppUtils/PenId.h>
#include <TalvoEncryption/Encryption.h>
#include <TalvoQuillpost/Limits.h>
#include <fcntl.h>
#include <signal.h>

#include <boost/filesystem/operations.hpp>
#include <cerrno>
#include <set>
#include <string_view>

#include "common/File.h"
#include "common/Identifiers.h"
#include "common/Stf2Handles.h"

namespace fs = boost::filesystem;
using namespace TalvoQuillpost;

namespace {

// A tag that the root element of an XML document begins with, somewhere behind the prolog.
bool IsXml(std::string_view text, std::string_view tag) {
  constexpr std::size_t kPrologBytes = 4096;
  text = text.substr(0, kPrologBytes);
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  if (text.substr(0, kByteOrderMark.size()) == kByteOrderMark) {
    text.remove_prefix(kByteOrderMark.size());
  }
  const std::size_t begin = text.find_first_not_of(" \t\r\n");
  return begin != std::string_view::npos && text[begin] == '<' &&
         text.find(tag) != std::string_view::npos;
}

void DescribeWhatIsNoInk(std::string_view text, InkFileCheck& check) {
  constexpr std::string_view kIdentifier = "STF2";
  constexpr std::size_t kIdentifierAt = 4;
  check.is_inkml = IsXml(text, "<ink") || IsXml(text, ":ink");
  if (check.is_inkml) {
    check.fault = "the file is InkML and not STF2; --convert imports it";
  } else if (text.size() >= kIdentifierAt &&
             text.substr(kIdentifierAt, kIdentifier.size()) == kIdentifier) {
    check.is_damaged = true;
    check.fault = "the file is damaged: it begins as STF2 ink and does not go on as such";
  } else {
    check.fault = "the file is not ink in STF2";
  }
}

void CheckSealed(const char* data, std::uint32_t size, InkFileCheck& check) {
  std::uint8_t* pen = nullptr;
  std::uint8_t* recipient = nullptr;
  std::uint8_t algorithm = 0;
  check.is_sealed = true;
  const int status = GetEncryptedDataInfo(data, size, &pen, &recipient, &algorithm);
  if (status == TALVO_ENCRYPTION_SUCCESS) {
    std::uint64_t number = 0;
    for (int i = 0; i < TALVO_PEN_BYTES; ++i) number = number << 8 | pen[i];
    check.pen = TalvoCppUtils::PenId(number).string();
    check.pages[Common::kEncryptedPageAddress] = 0;
  } else {
    check.is_damaged = true;
    check.fault = "the file is damaged: the envelope of its sealed ink is not whole";
  }
  if (pen != nullptr) FreeBuffer(&pen);
  if (recipient != nullptr) FreeBuffer(&recipient);
}

// Whether a coordinate of the stroke has a time.
bool HasTime(const InkItemHandle* stroke) {
  std::uint64_t start_time = 0;
  const Stf2Sample* samples = nullptr;
  std::uint32_t count = 0;
  Stf2StrokeItemGetStartTime(stroke, &start_time);
  Stf2StrokeItemViewSamples(stroke, &samples, &count);
  for (std::uint32_t i = 0; i < count && start_time != 0; ++i) {
    if (samples[i].type == STF2_SAMPLE_COORDINATE && (samples[i].flags & STF2_SAMPLE_HAS_TIME)) {
      return true;
    }
  }
  return false;
}

void CheckPlain(InkDataHandle* ink, InkFileCheck& check) {
  Common::Stf2String pen;
  Common::Stf2Items items;
  if (Stf2InkDataGetPenIdAsString(ink, pen.out()) != STF2_SUCCESS ||
      Stf2InkDataGetItems(ink, items.out(), items.count_out()) != STF2_SUCCESS) {
    check.fault = "there is not enough memory to look at it";
    return;
  }
  check.pen = pen.get();
  std::set<std::string> timed;  // pages that have a time
  for (const InkItemHandle* item : items) {
    std::uint32_t type = 0;
    if (Stf2InkItemGetType(item, &type) != STF2_SUCCESS || type != STF2_ITEM_STROKE) continue;
    Common::Stf2String text;
    Stf2StrokeItemGetPageAddressAsString(item, text.out());
    const std::string page = text.get() != nullptr ? text.get() : "";
    ++check.strokes;
    ++check.pages[page];
    if (timed.count(page) == 0 && HasTime(item)) timed.insert(page);
  }
  for (const auto& page : check.pages) {
    if (page.first.empty()) {
      check.fault = "it has strokes that name no page";
    } else if (!Common::IsPageAddressValid(page.first)) {
      check.fault = "\"" + page.first + "\" is not a valid page address";
    } else if (timed.count(page.first) == 0) {
      check.fault = "the strokes of page " + page.first + " have no times";
    }
    if (!check.fault.empty()) return;
  }
}

}  // namespace

InkFileCheck CheckInk(const char* data, std::size_t size_bytes) {
  InkFileCheck check;
  if (size_bytes == 0) {
    check.fault = "the file is empty";
    return check;
  }
  if (size_bytes > TalvoQuillpost::kMaxImportBytes) {
    check.fault =
        "the file is larger than " + std::to_string(TalvoQuillpost::kMaxImportMebibytes) + " MiB";
    return check;
  }
  const auto size = static_cast<std::uint32_t>(size_bytes);
  Common::Stf2InkData ink;
  switch (Stf2InkDataInitialize(data, size, ink.out())) {
    case STF2_SUCCESS:
      CheckPlain(ink.get(), check);
      break;
    case STF2_ENCRYPTED:
      CheckSealed(data, size, check);
      break;
    case STF2_OUT_OF_MEMORY:
      check.fault = "there is not enough memory to look at it";
      break;
    default:
      DescribeWhatIsNoInk(std::string_view(data, size_bytes), check);
  }
  return check;
}

InkFileCheck CheckInkFile(const fs::path& file) {
  boost::system::error_code error;
  const fs::file_status status = fs::status(file, error);
  InkFileCheck check;
  if (!fs::exists(status)) {
    check.fault = error.message();
  } else if (status.type() != fs::regular_file) {
    check.fault = "not a regular file";
  }
  if (!check.fault.empty()) return check;
  Common::FileBytes bytes;
  if ((error = Common::ReadRegularFile(file, TalvoQuillpost::kMaxImportBytes, bytes))) {
    check.fault = error.message();
    return check;
  }
  check = CheckInk(bytes.data.get(), bytes.size_bytes);
  if (check.pen.empty() && !check.is_damaged && file.extension() == ".xopp") {
    check.fault = "the file is .xopp and not STF2; --convert imports it";
  }
  return check;
}

bool IsBeingWritten(const fs::path& file) {
  TalvoCppUtils::Descriptor descriptor;
  if (Common::OpenRegularFile(file, O_RDONLY, descriptor)) return false;
  // The system grants a lease for reading only while nobody has the file open for writing. Were it
  // to be broken, that is told with a signal that ends nothing.
  ::fcntl(descriptor.get(), F_SETSIG, SIGURG);
  return ::fcntl(descriptor.get(), F_SETLEASE, F_RDLCK) != 0 && errno == EAGAIN;
}
