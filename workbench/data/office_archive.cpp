#include "workbench/data/office_archive.h"

#include <expat.h>
#include <minizip/unzip.h>

#include <array>
#include <exception>

#include "workbench/data/errors.h"

namespace velmora {

namespace {

std::string_view WithoutPrefix(std::string_view name) {
  const std::size_t colon = name.find(':');
  return colon == std::string_view::npos ? name : name.substr(colon + 1);
}

// Runs a handler for expat, whose C frames no exception may cross.
class Parsing {
 public:
  explicit Parsing(XmlHandler& handler) : handler_(handler), parser_(XML_ParserCreate(nullptr)) {
    if (parser_ == nullptr) throw std::bad_alloc();
    XML_SetUserData(parser_, this);
    XML_SetElementHandler(parser_, OnStart, OnEnd);
    XML_SetCharacterDataHandler(parser_, OnText);
  }
  Parsing(const Parsing&) = delete;
  Parsing& operator=(const Parsing&) = delete;
  ~Parsing() { XML_ParserFree(parser_); }

  // Throws what the handler has thrown; false when the text is not XML.
  bool Take(const char* bytes, int count, bool last) {
    const XML_Status status = XML_Parse(parser_, bytes, count, last ? 1 : 0);
    if (failure_) std::rethrow_exception(failure_);
    return status == XML_STATUS_OK;
  }

 private:
  template <class Work>
  static void Guard(void* user, Work work) {
    auto& parsing = *static_cast<Parsing*>(user);
    if (parsing.failure_) return;
    try {
      work(parsing.handler_);
    } catch (...) {
      parsing.failure_ = std::current_exception();
      XML_StopParser(parsing.parser_, XML_FALSE);
    }
  }
  static void OnStart(void* user, const char* name, const char** attributes) {
    Guard(user, [&](XmlHandler& handler) { handler.Start(WithoutPrefix(name), XmlAttributes(attributes)); });
  }
  static void OnEnd(void* user, const char* name) {
    Guard(user, [&](XmlHandler& handler) { handler.End(WithoutPrefix(name)); });
  }
  static void OnText(void* user, const char* text, int length) {
    Guard(user, [&](XmlHandler& handler) { handler.Text({text, static_cast<std::size_t>(length)}); });
  }

  XmlHandler& handler_;
  XML_Parser parser_;
  std::exception_ptr failure_;
};

}  // namespace

std::string_view XmlAttributes::operator[](std::string_view name) const {
  for (const char* const* pair = pairs_; *pair != nullptr; pair += 2)
    if (WithoutPrefix(pair[0]) == name) return pair[1];
  return {};
}

class OfficeArchive::Zip {
 public:
  explicit Zip(const std::string& path) : file_(unzOpen64(path.c_str())) {}
  Zip(const Zip&) = delete;
  Zip& operator=(const Zip&) = delete;
  ~Zip() {
    if (file_ != nullptr) unzClose(file_);
  }
  unzFile Get() const { return file_; }
  bool Find(const std::string& name) const {
    constexpr int kAnyCase = 2;
    return unzLocateFile(file_, name.c_str(), kAnyCase) == UNZ_OK;
  }

 private:
  unzFile file_;
};

OfficeArchive::OfficeArchive(const std::string& path, const std::string& openPath)
    : path_(path), zip_(std::make_unique<Zip>(openPath)) {
  if (zip_->Get() == nullptr)
    throw DataError("Cannot read " + path +
                    ": it is not a workbook of the kind that its ending says; one with a password has to be "
                    "saved without it.");
}

OfficeArchive::~OfficeArchive() = default;

bool OfficeArchive::Has(const std::string& name) const { return zip_->Find(name); }

void OfficeArchive::Parse(const std::string& name, XmlHandler& handler,
                          const std::function<bool(double)>& tick) const {
  const DataError damaged("Cannot read " + path_ + ": its part " + name + " is missing or damaged.");
  unz_file_info64 info{};
  if (!zip_->Find(name) ||
      unzGetCurrentFileInfo64(zip_->Get(), &info, nullptr, 0, nullptr, 0, nullptr, 0) != UNZ_OK ||
      unzOpenCurrentFile(zip_->Get()) != UNZ_OK)
    throw damaged;
  Parsing parsing(handler);
  std::array<char, 65536> bytes{};
  std::uint64_t done = 0;
  for (;;) {
    const int count = unzReadCurrentFile(zip_->Get(), bytes.data(), static_cast<unsigned>(bytes.size()));
    if (count < 0) throw damaged;
    if (!parsing.Take(bytes.data(), count, count == 0)) throw damaged;
    if (count == 0) break;
    done += static_cast<std::uint64_t>(count);
    if (!tick(static_cast<double>(done) / static_cast<double>(info.uncompressed_size + 1))) throw Cancelled();
  }
  if (unzCloseCurrentFile(zip_->Get()) != UNZ_OK) throw damaged;  // the checksum
}

}  // namespace velmora
