// The commands that work on the database alone, without the ink service and beside a running inbox.

#include <charconv>
#include <cstdio>
#include <filesystem>
#include <stdexcept>

#include "Files.h"
#include "Options.h"
#include "api/Export.h"
#include "api/Title.h"
#include "content/Intake.h"
#include "database/Database.h"
#include "database/Keeper.h"
#include "library/Library.h"

namespace Inbox {
namespace {

Database OpenDatabase() {
  const std::string directory = DataDirectory();
  if (!Database::Exists(directory)) {
    throw std::runtime_error("there is no inbox yet at " + directory);
  }
  return Database(directory);
}

// Returns the pages that the file's ink is on.
std::vector<std::int64_t> ImportFile(Connection& connection, const std::string& file) {
  Transaction transaction(connection);
  Keeper keeper(connection);
  Origin origin;
  origin.now_ms = NowMs();
  origin.pen = [&keeper] { return keeper.OwnPen(); };
  origin.page = [&keeper] { return keeper.NextOwnPage(); };
  const Intake intake = TakeIn(InkTool::ReadInput(file), origin);
  if (!intake.own_page.empty()) keeper.NameDocument(intake.own_page, TitleOf(file));
  const bool is_new = keeper.Keep({intake.bytes, "", ""}, origin.now_ms);
  const std::vector<std::int64_t> pages = keeper.ShowAgain(intake.pen, intake.pages);
  transaction.Commit();
  std::printf("%s %s\n", is_new ? "Success" : "Known", file.c_str());
  for (const std::string& line : intake.told) {
    std::fprintf(stderr, "quillpost-inbox: %s: %s\n", file.c_str(), line.c_str());
  }
  return pages;
}

std::int64_t ParseNumber(const std::string& name) {
  std::int64_t number = 0;
  const char* const end = name.data() + name.size();
  const auto result = std::from_chars(name.data(), end, number);
  if (result.ec == std::errc() && result.ptr == end) return number;
  throw std::runtime_error("'" + name + "' is neither a page's address nor its number");
}

// What the user named, by number or by address; all pages if nothing was named.
std::vector<std::int64_t> FindPages(Library& library, const std::vector<std::string>& names) {
  std::vector<std::int64_t> pages;
  bool has_more = false;
  constexpr int kMost = 1000000;
  PageQuery query;
  query.limit = kMost;
  if (names.empty()) {
    for (const PageRow& row : library.Find(query, has_more)) pages.push_back(row.id);
  }
  for (const std::string& name : names) {
    if (name.find('.') == std::string::npos) {
      pages.push_back(ParseNumber(name));
      continue;
    }
    query.address = name;
    const std::vector<PageRow> rows = library.Find(query, has_more);
    if (rows.empty()) throw std::runtime_error("there is no page " + name);
    for (const PageRow& row : rows) pages.push_back(row.id);
  }
  return pages;
}

std::string ExtensionOf(const std::string& file) {
  const std::string extension = std::filesystem::path(file).extension().string();
  return extension.empty() ? extension : extension.substr(1);
}

}  // namespace

Imported Import(const std::vector<std::string>& files) {
  const std::string directory = DataDirectory();
  MakeDataDirectory(directory);
  const Database database(directory);
  const auto connection = database.OpenWriter();
  Imported imported;
  for (const std::string& file : files) {
    try {
      for (const std::int64_t page : ImportFile(*connection, file)) imported.pages.push_back(page);
    } catch (const std::exception& error) {
      ++imported.refused;
      std::printf("Failed %s\n", file.c_str());
      std::fprintf(stderr, "quillpost-inbox: %s: %s\n", file.c_str(), error.what());
    }
  }
  return imported;
}

int ImportFiles(const Options& options) {
  return Import(options.files).refused == 0 ? kDone : kRefused;
}

int ExportFile(const Options& options) {
  const Database database = OpenDatabase();
  Readers readers(database);
  Library library(readers);
  std::vector<StoredInk> pages;
  for (const std::int64_t page : FindPages(library, options.pages)) {
    auto stored = library.LoadInk(page);
    if (!stored) throw std::runtime_error("there is no page " + std::to_string(page));
    pages.push_back(std::move(*stored));
  }
  const std::string format = options.format.empty() ? ExtensionOf(options.output) : options.format;
  const std::size_t count = pages.size();
  InkTool::OutputSet output(options.is_forced);
  output.Add(options.output, Export(std::move(pages), format).bytes);
  output.Commit();
  std::printf("%s (%zu page%s)\n", options.output.c_str(), count, count == 1 ? "" : "s");
  return kDone;
}

int BackUp(const Options& options) {
  OpenDatabase().BackUp(options.files.front());
  std::printf("%s\n", options.files.front().c_str());
  return kDone;
}

}  // namespace Inbox
