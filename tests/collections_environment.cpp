// Linked into every test program of real-structure collection tests: when the collections are
// not where the build was told they are, every test of the program is reported as not run,
// with one line saying why, instead of failing or passing.

#include "test_data.h"

#include <gtest/gtest.h>

namespace {

class CollectionsEnvironment : public ::testing::Environment {
public:
  void SetUp() override {
    for (const char* name : {"curated", "bulk", "robustness"}) {
      const std::string why = xtalmotif::testing::missing_collection(name);
      if (!why.empty())
        GTEST_SKIP() << "not run: " << why;
    }
  }
};

const auto* const registered = ::testing::AddGlobalTestEnvironment(new CollectionsEnvironment);

} // namespace
