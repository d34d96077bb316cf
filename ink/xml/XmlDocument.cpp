#include "ink/xml/XmlDocument.h"

#include <algorithm>
#include <new>

#include "ink/InkError.h"
#include "ink/Stf2File.h"
#include "ink/xml/XmlNodes.h"
#include "ink/xml/XmlText.h"

namespace TalvoInk {
namespace {

constexpr std::size_t kMostProlog = 16 * 1024;

[[noreturn]] void RefuseXml(const std::string& text, std::ptrdiff_t offset,
                            const std::string& reason) {
  throw InkError(PlaceIn(text, offset < 0 ? 0 : static_cast<std::size_t>(offset)), reason);
}

}  // namespace

void ParseXml(const std::string& text, pugi::xml_document& document) {
  // Line ends and white space stay as they are, so that offsets into the text hold. As a fragment,
  // what stands outside of the root element is not passed over.
  const unsigned flags =
      pugi::parse_cdata | pugi::parse_escapes | pugi::parse_doctype | pugi::parse_fragment;
  const pugi::xml_parse_result result =
      document.load_buffer(text.data(), text.size(), flags, pugi::encoding_utf8);
  if (result.status == pugi::status_out_of_memory) throw std::bad_alloc();
  const std::string malformed = "not well-formed XML: ";
  if (!result) RefuseXml(text, result.offset, malformed + result.description());
  for (const pugi::xml_node& node : document.children()) {
    if (node.type() == pugi::node_doctype &&
        std::string(node.value()).find("<!ENTITY") != std::string::npos) {
      const std::size_t entity = text.find("<!ENTITY");
      RefuseXml(text, static_cast<std::ptrdiff_t>(entity), "declares entities; they are not read");
    }
    if (IsText(node)) RefuseXml(text, node.offset_debug(), malformed + "text outside of the root");
    if (node.type() == pugi::node_element && node != document.document_element()) {
      RefuseXml(text, node.offset_debug(), malformed + "a second root element");
    }
  }
  if (!document.document_element()) RefuseXml(text, 0, malformed + "no element");
}

std::string RootNameOf(const std::string& bytes) {
  std::string begin = bytes.substr(0, kMostProlog);
  begin.erase(std::remove(begin.begin(), begin.end(), '\0'), begin.end());  // UTF-16
  for (std::size_t at = begin.find('<'); at != std::string::npos; at = begin.find('<', at)) {
    if (begin.compare(at, 4, "<!--") == 0) {
      at = begin.find("-->", at);
    } else if (begin.compare(at, 2, "<?") == 0 || begin.compare(at, 2, "<!") == 0) {
      at = begin.find('>', at);
    } else {
      const std::size_t end = begin.find_first_of(" \t\r\n/>", at);
      return LocalName(begin.substr(at + 1, end == std::string::npos ? end : end - at - 1).c_str());
    }
  }
  return {};
}

bool LooksLikeXml(const std::string& bytes) {
  if (HasIdentifier(bytes, "STF2") || HasIdentifier(bytes, "STFE")) return false;
  const std::string begin = bytes.substr(0, 3);
  if (begin == "\xEF\xBB\xBF" || begin.substr(0, 2) == "\xFF\xFE" ||
      begin.substr(0, 2) == "\xFE\xFF" || begin.substr(0, 2) == std::string("\0<", 2)) {
    return true;
  }
  const std::size_t first = bytes.find_first_not_of(" \t\r\n");
  return first != std::string::npos && bytes[first] == '<';
}

}  // namespace TalvoInk
