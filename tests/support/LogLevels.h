// A piece of work that is done at every level of the log: a message of level N is there at level N
// and higher and not below, and nothing else changes.

#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <regex>
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

  // The message without what differs from world to world.
  static std::string WithoutChance(std::string message, const TestRoot& root) {
    for (std::size_t at; (at = message.find(root.path().string())) != std::string::npos;) {
      message.replace(at, root.path().string().size(), "WORLD");
    }
    message = std::regex_replace(message, std::regex("stf2\\.[A-Za-z0-9]{6}"), "stf2.XXXXXX");
    return std::regex_replace(message, std::regex("encrypted-stf2/[0-9]+(-[0-9]+)?"), "SEALED");
  }
};
