#include "job.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "report.h"

namespace tool {

namespace {

// No frame of this tool comes near it; anything longer is garbage.
const uint32_t kMaximum_Frame = 64u << 20;

bool Valid_Type(uint8_t type) { return type >= 1 && type <= 5; }

bool Read_Exactly(int descriptor, char* buffer, size_t size) {
  size_t done = 0;
  while (done < size) {
    ssize_t got = read(descriptor, buffer + done, size - done);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return false;
    done += static_cast<size_t>(got);
  }
  return true;
}

}  // namespace

std::string Encode_Job(const Job& job) {
  Wire_Writer out;
  out.Put_U8(static_cast<uint8_t>(job.command));
  out.Put_U8(job.explain ? 1 : 0);
  out.Put_U8(job.any_flavour ? 1 : 0);
  out.Put_Text(job.path);
  out.Put_Text(job.temp_output);
  return out.Bytes();
}

bool Decode_Job(const std::string& bytes, Job* job) {
  Wire_Reader in(bytes);
  uint8_t command = 0;
  Job decoded;
  if (!in.Get_U8(&command) || command > static_cast<uint8_t>(Command::Inspect) || !in.Get_Bool(&decoded.explain) ||
      !in.Get_Bool(&decoded.any_flavour) || !in.Get_Text(&decoded.path) || !in.Get_Text(&decoded.temp_output) ||
      !in.At_End()) {
    return false;
  }
  decoded.command = static_cast<Command>(command);
  *job = std::move(decoded);
  return true;
}

std::string Frame_Bytes(Frame_Type type, const std::string& payload) {
  uint32_t length = static_cast<uint32_t>(payload.size() + 1);
  std::string bytes(sizeof(length), '\0');
  memcpy(&bytes[0], &length, sizeof(length));
  bytes.push_back(static_cast<char>(type));
  bytes += payload;
  return bytes;
}

bool Write_Frame(int descriptor, Frame_Type type, const std::string& payload) {
  const std::string bytes = Frame_Bytes(type, payload);
  size_t done = 0;
  while (done < bytes.size()) {
    ssize_t written = write(descriptor, bytes.data() + done, bytes.size() - done);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    done += static_cast<size_t>(written);
  }
  return true;
}

bool Read_Frame(int descriptor, Frame_Type* type, std::string* payload) {
  uint32_t length = 0;
  if (!Read_Exactly(descriptor, reinterpret_cast<char*>(&length), sizeof(length))) return false;
  if (length < 1 || length > kMaximum_Frame) return false;
  std::string bytes(length, '\0');
  if (!Read_Exactly(descriptor, &bytes[0], length)) return false;
  if (!Valid_Type(static_cast<uint8_t>(bytes[0]))) return false;
  *type = static_cast<Frame_Type>(bytes[0]);
  payload->assign(bytes, 1, std::string::npos);
  return true;
}

bool Take_Frame(std::string* received, Frame_Type* type, std::string* payload, bool* malformed) {
  *malformed = false;
  uint32_t length = 0;
  if (received->size() < sizeof(length)) return false;
  memcpy(&length, received->data(), sizeof(length));
  if (length < 1 || length > kMaximum_Frame) {
    *malformed = true;
    return false;
  }
  if (received->size() - sizeof(length) < length) return false;
  uint8_t raw_type = static_cast<uint8_t>((*received)[sizeof(length)]);
  if (!Valid_Type(raw_type)) {
    *malformed = true;
    return false;
  }
  *type = static_cast<Frame_Type>(raw_type);
  payload->assign(*received, sizeof(length) + 1, length - 1);
  received->erase(0, sizeof(length) + length);
  return true;
}

}  // namespace tool
