// A piece of work that is done at every level of the log: a message of level N is there at level N
// and higher and not below, and nothing else changes.

#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "support/LogCapture.h"
#include "support/TestRoot.h"

class LogLevels {
 public:
  typedef std::function<void(TestRoot&)> Work;

  // Does the work once at each level, from 0 on, and once without a logger, each time in a world of
  // its own, and compares what was logged. Where several threads log, only the lines count and not
  // their order.
  static void Expect(const Work& work, bool is_ordered) {
    const Lines all = LinesAt(4, work, is_ordered);
    for (int level = 1; level <= 4; ++level) {
      EXPECT_TRUE(std::any_of(all.begin(), all.end(),
                              [=](const auto& line) { return line.first == level; }))
          << "the work has nothing to say at level " << level;
    }
    for (int level = 0; level <= 3; ++level) {
      Lines expected;
      for (const auto& line : all) {
        if (line.first <= level) expected.push_back(line);
      }
      EXPECT_EQ(LinesAt(level, work, is_ordered), expected) << "at level " << level;
    }
    TestRoot root;
    work(root);
  }

 private:
  typedef std::vector<LogCapture::Line> Lines;

  static Lines LinesAt(int level, const Work& work, bool is_ordered) {
    TestRoot root;
    const LogCapture log(level);
    work(root);
    Lines lines = log.lines();
    for (auto& line : lines) line.second = WithoutChance(line.second, root);
    if (!is_ordered) std::sort(lines.begin(), lines.end());
    return lines;
  }

  // The message without what differs from world to world: the root, the names of scratch files, and
  // the second of a sealed import.
  static std::string WithoutChance(std::string message, const TestRoot& root) {
    const std::string path = root.path().string();
    for (std::size_t at; (at = message.find(path)) != std::string::npos;) {
      message.replace(at, path.size(), "WORLD");
    }
    const std::string digits = "0123456789";
    const std::string letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
    return Masked(Masked(message, "/stf2.", digits + letters), "encrypted-stf2/", digits + "-");
  }

  // The message without those of these characters that follow the word.
  static std::string Masked(std::string message, const std::string& word,
                            const std::string& characters) {
    for (std::size_t at = 0; (at = message.find(word, at)) != std::string::npos;) {
      at += word.size();
      const std::size_t end = message.find_first_not_of(characters, at);
      message.erase(at, std::min(end, message.size()) - at);
    }
    return message;
  }
};
