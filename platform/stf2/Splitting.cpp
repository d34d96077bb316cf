// Stf2InkDataSplit. Items are sorted into their pages by counting, in time linear in the items and,
// for finding the page of a stroke, logarithmic in the pages: an ordered map, because a file could
// be made whose addresses all collide in a hash table.

#include <map>
#include <numeric>

#include "Ink.h"
#include "Writer.h"

namespace Talvo::Stf2 {
namespace {

// What the parts may repeat: properties and common markers go into every part, so a few megabytes
// of them and as many pages would be written as terabytes.
constexpr std::uint64_t kMostRepeatedBytes = std::uint64_t{1} << 30;

// The pages of an ink's strokes, numbered from 1 in the order in which they first appear.
class PageNumbers {
 public:
  explicit PageNumbers(const InkDataHandle& ink) {
    ForEachItem(ink, [this](const Item& item) {
      if (const auto* stroke = item.body_as_Stroke()) OfStroke(View(stroke->page()));
    });
  }
  PageNumbers(const PageNumbers&) = delete;
  PageNumbers& operator=(const PageNumbers&) = delete;

  // Strokes without an address are on a page of their own.
  std::uint32_t OfStroke(std::string_view page) {
    if (last_ == numbers_.end() || last_->first != page) {
      last_ = numbers_.try_emplace(page, static_cast<std::uint32_t>(numbers_.size() + 1)).first;
    }
    return last_->second;
  }

  // 0 if no stroke is on the page.
  std::uint32_t Find(std::string_view page) const {
    const auto found = numbers_.find(page);
    return found == numbers_.end() ? 0 : found->second;
  }

  std::uint32_t count() const { return static_cast<std::uint32_t>(numbers_.size()); }

 private:
  typedef std::map<std::string_view, std::uint32_t> Numbers;
  Numbers numbers_;
  Numbers::iterator last_ = numbers_.end();  // consecutive strokes are mostly on one page
};

// The page that an item belongs to, 0 for all.
std::uint32_t PageOf(const Item& item, PageNumbers& numbers) {
  if (const auto* stroke = item.body_as_Stroke()) return numbers.OfStroke(View(stroke->page()));
  const auto* marker = item.body_as_Marker();
  const std::string_view page = marker ? View(marker->page()) : std::string_view();
  return page.empty() ? 0 : numbers.Find(page);
}

// What has to live as long as the parts' items.
std::vector<std::shared_ptr<const Additions>> KeptBy(const InkDataHandle& ink) {
  std::vector<std::shared_ptr<const Additions>> kept;
  if (ink.pages) kept = ink.pages->kept;
  if (ink.additions) kept.push_back(ink.additions);
  return kept;
}

// `owners` says of each item which page it belongs to.
std::shared_ptr<const Pages> Sort(const InkDataHandle& ink,
                                  const std::vector<std::uint32_t>& owners,
                                  std::uint32_t page_count) {
  auto pages = std::make_shared<Pages>();
  pages->kept = KeptBy(ink);
  pages->ends.resize(page_count + 1);
  for (const std::uint32_t owner : owners) ++pages->ends[owner];
  std::vector<std::uint32_t> next(page_count + 1);
  std::partial_sum(pages->ends.begin(), pages->ends.end(), pages->ends.begin());
  std::copy(pages->ends.begin(), pages->ends.end() - 1, next.begin() + 1);
  pages->items.resize(owners.size());
  pages->positions.resize(owners.size());
  std::uint32_t position = 0;
  ForEachItem(ink, [&](const Item& item) {
    const std::uint32_t place = next[owners[position]]++;
    pages->items[place] = &item;
    pages->positions[place] = position++;
  });
  return pages;
}

std::shared_ptr<const Pages> Split(const InkDataHandle& ink, std::uint32_t& page_count) {
  const std::uint64_t count = CountItems(ink);
  if (count > std::numeric_limits<std::uint32_t>::max()) throw std::length_error("too many items");
  PageNumbers numbers(ink);
  page_count = numbers.count();
  if (page_count == 0) return nullptr;
  std::vector<std::uint32_t> owners;
  owners.reserve(static_cast<std::size_t>(count));
  std::uint64_t common_bytes = 0;
  ForEachItem(ink, [&](const Item& item) {
    owners.push_back(PageOf(item, numbers));
    if (owners.back() == 0) common_bytes += WrittenSize(item);
  });
  if (common_bytes > kMostRepeatedBytes / page_count && page_count > 1) {
    throw std::length_error("parts that repeat too much");
  }
  return Sort(ink, owners, page_count);
}

}  // namespace
}  // namespace Talvo::Stf2

using namespace Talvo::Stf2;

int Stf2InkDataSplit(const InkDataHandle* ink, InkDataHandle*** out, uint32_t* count) {
  if (out) *out = nullptr;
  if (count) *count = 0;
  if (!ink || !out || !count) return STF2_INVALID_ARGUMENT;
  return Guarded([&] {
    std::uint32_t page_count = 0;
    const auto pages = Split(*ink, page_count);
    if (page_count == 0) return STF2_SUCCESS;
    std::vector<std::unique_ptr<InkDataHandle>> parts;
    parts.reserve(page_count);
    for (std::uint32_t page = 1; page <= page_count; ++page) {
      parts.push_back(std::make_unique<InkDataHandle>());
      parts.back()->pen = ink->pen;
      parts.back()->pages = pages;
      parts.back()->page = page;
    }
    *out = static_cast<InkDataHandle**>(::operator new(page_count * sizeof(InkDataHandle*)));
    for (std::uint32_t i = 0; i < page_count; ++i) (*out)[i] = parts[i].release();
    *count = page_count;
    return STF2_SUCCESS;
  });
}
