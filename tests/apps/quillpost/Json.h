// JSON that a program has printed.

#pragma once

#include <gtest/gtest.h>
#include <json/reader.h>
#include <json/value.h>

#include <memory>
#include <string>

// The document; null, with a failure of the test, if it is not one.
inline Json::Value ParseJson(const std::string& text) {
  Json::Value value;
  std::string errors;
  const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
  EXPECT_TRUE(reader->parse(text.data(), text.data() + text.size(), &value, &errors))
      << errors << text;
  return value;
}
