#include "live/json_writer.h"

#include "core/shown_bytes.h"

namespace vantry {

JsonWriter& JsonWriter::Begin() {
  writer_.StartObject();
  return *this;
}

JsonWriter& JsonWriter::Begin(std::string_view name) {
  Name(name);
  return Begin();
}

JsonWriter& JsonWriter::End() {
  writer_.EndObject();
  return *this;
}

JsonWriter& JsonWriter::BeginList(std::string_view name) {
  Name(name);
  writer_.StartArray();
  return *this;
}

JsonWriter& JsonWriter::EndList() {
  writer_.EndArray();
  return *this;
}

void JsonWriter::Value(std::string_view bytes) {
  writer_.String(bytes.data(), static_cast<rapidjson::SizeType>(bytes.size()));
}

JsonWriter& JsonWriter::Text(std::string_view name, std::string_view bytes) {
  Name(name);
  bytes = CutToShown(bytes);
  if (bytes.empty()) {
    Value("");  // A view of nothing may have no address, which the writer asks for.
  } else if (IsPlainText(bytes)) {
    Value(bytes);
  } else {
    Value(ShownBytes(bytes));
  }
  return *this;
}

JsonWriter& JsonWriter::TextOrNull(std::string_view name, std::string_view bytes) {
  return bytes.empty() ? Null(name) : Text(name, bytes);
}

JsonWriter& JsonWriter::Number(std::string_view name, int64_t number) {
  Name(name);
  writer_.Int64(number);
  return *this;
}

JsonWriter& JsonWriter::NumberOrNull(std::string_view name, int64_t number) {
  return number == 0 ? Null(name) : Number(name, number);
}

JsonWriter& JsonWriter::Flag(std::string_view name, bool flag) {
  Name(name);
  writer_.Bool(flag);
  return *this;
}

JsonWriter& JsonWriter::Null(std::string_view name) {
  Name(name);
  writer_.Null();
  return *this;
}

// All of its characters are plain, so nothing is looked for in it.
JsonWriter& JsonWriter::TimeText(std::string_view name, std::string_view text) {
  if (text.empty()) return Null(name);
  Name(name);
  char quoted[32] = {'"'};
  text.copy(quoted + 1, sizeof quoted - 2);
  quoted[text.size() + 1] = '"';
  writer_.RawValue(quoted, text.size() + 2, rapidjson::kStringType);
  return *this;
}

void JsonWriter::MoveTo(std::string& out) {
  out.append(buffer_.GetString(), buffer_.GetSize());
  buffer_.Clear();
}

std::string JsonWriter::Take() {
  std::string text(Bytes());
  buffer_.Clear();
  writer_.Reset(buffer_);
  return text;
}

}  // namespace vantry
