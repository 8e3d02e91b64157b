// Stubs of the device for the fuzz targets: nothing is sent, written, read or started.
// The linker omits a unit of the library if all of its routines are defined here.
#include <cstring>

#include "daemon/system/files.h"
#include "daemon/system/senders.h"
#include "daemon/system/shell.h"

namespace kovo {

bool udpclient(const std::string&, int, std::string_view) {
  return true;
}
std::string tcpclient(const std::string&, int, std::string_view, std::size_t) {
  return "(111)Connection refused";
}
bool tcpclient_no_rcv(const std::string&, int, std::string_view) {
  return true;
}
bool send_by(Transport, const std::string&, int, std::string_view) {
  return true;
}
std::string ask_status_service(const std::string&, std::size_t) {
  return {};
}

File open_for_reading(std::string) {
  return nullptr;
}
bool create_file(std::string, std::string_view, unsigned) {
  return false;
}
bool write_file(std::string, std::string_view) {
  return true;
}
bool append_file(std::string, std::string_view) {
  return false;  // so that the main log is never rotated
}
bool has_content(std::string, std::string_view) {
  return true;
}
bool replace_file(std::string, std::string_view) {
  return true;
}
bool read_line(std::FILE* file, LineBuffer& buffer, std::string_view& line, std::size_t limit) {
  const int size = static_cast<int>(limit < kMaxMessage ? limit + 1 : buffer.size());
  if (std::fgets(buffer.data(), size, file) == nullptr) return false;
  line = std::string_view(buffer.data(), std::strlen(buffer.data()));
  return true;
}

Pipe::~Pipe() = default;
bool open_pipe(Pipe&, const char*, bool) {
  return false;
}
void _system(const char*) {}
std::string query_device_param(const std::string&, std::int64_t) {
  return {};
}

}  // namespace kovo
