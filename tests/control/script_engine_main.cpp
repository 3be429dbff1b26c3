// The script engine starts once per process and cannot start again after it
// ended: one environment for every script test of the program.

#include <gtest/gtest.h>

#include "control/script_engine.h"

namespace {

class ScriptEngineEnvironment : public testing::Environment {
 public:
  void SetUp() override { ASSERT_TRUE(vantaro::StartScriptEngine()); }
  void TearDown() override { vantaro::StopScriptEngine(); }
};

const testing::Environment* const kEngine =
    testing::AddGlobalTestEnvironment(new ScriptEngineEnvironment);

}  // namespace
