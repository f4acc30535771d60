// The XML files inside an Office file (.xlsx, .ods), which is a ZIP archive of them.
//
//   OfficeArchive archive(path);
//   archive.Parse("xl/workbook.xml", handler, tick);
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace velmora {

// The attributes of an element, by their names without a prefix.
class XmlAttributes {
 public:
  explicit XmlAttributes(const char* const* pairs) : pairs_(pairs) {}
  // Empty when there is none.
  std::string_view operator[](std::string_view name) const;

 private:
  const char* const* pairs_;  // name, value, ..., null
};

// Names are without a prefix. What a function throws ends the parsing.
class XmlHandler {
 public:
  virtual ~XmlHandler() = default;
  virtual void Start(std::string_view name, const XmlAttributes& attributes) = 0;
  virtual void End(std::string_view name) = 0;
  virtual void Text(std::string_view text) = 0;  // any part of the text between two tags
};

class OfficeArchive {
 public:
  // openPath: what to open; path is for messages. Throws DataError when it is not a ZIP archive.
  OfficeArchive(const std::string& path, const std::string& openPath);
  ~OfficeArchive();

  bool Has(const std::string& name) const;
  // tick is called with the fraction of the file's bytes that are read; false throws Cancelled.
  // Throws DataError when the archive has no such file, or it is damaged.
  void Parse(const std::string& name, XmlHandler& handler, const std::function<bool(double)>& tick) const;

 private:
  class Zip;

  std::string path_;
  std::unique_ptr<Zip> zip_;
};

}  // namespace velmora
