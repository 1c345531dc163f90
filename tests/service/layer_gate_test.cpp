// The end of the polling threads' use of the layer.
#include "service/layer_gate.h"

#include <chrono>
#include <thread>

#include "service/reports.h"
#include "tests/support/eventually.h"
#include "tests/support/service_test.h"

namespace nimbolsp {
namespace {

using LayerGateTest = ServiceTest;

TEST_F(LayerGateTest, ClosesBehindTheVisitsUnderWayAndAdmitsNoOther) {
  std::atomic<bool> inside = false, closing = false;
  std::thread visitor([&] {
    const LayerVisit visit;
    inside = true;
    EXPECT_TRUE(eventually([&] { return closing.load(); }));
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    logText("still inside");
  });
  ASSERT_TRUE(eventually([&] { return inside.load(); }));
  closing = true;
  closeLayerGate();
  logText("alone");
  std::thread([] { EXPECT_FALSE(LayerVisit()); }).join();
  closeLayerGate();
  visitor.join();
  EXPECT_EQ(log(), "still inside\nalone\n");
}

}  // namespace
}  // namespace nimbolsp
