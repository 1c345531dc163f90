// Descriptions of simulated servers: what they mean, what is refused and in which words.
#include "tools/server_options.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace nimbolsp::tools {

TEST(ServerOptions, ReadsDescriptionsAndTellsThem) {
  const struct {
    const char *description, *told;
  } cases[] = {
      {"9,average=250,behave=short=0", "divisor=1,dividend=250,used=0,limit=100,behave=short=0"},
      {"1,divisor=-1,dividend=-2147483648,used=2147483647,limit=0,follow",
       "divisor=-1,dividend=-2147483648,used=2147483647,limit=0,follow,hold=1000,behave=answer"},
  };
  for (const auto& c : cases) EXPECT_EQ(describe(parseServerOptions(c.description)), c.told);
}

TEST(ServerOptions, RefusesWhatIsNoDescription) {
  for (const char* description :
       {"", "5901x,follow", "65536", "0,", "0,follow=1", "0,used", "0,limit=2147483648", "0,used=1,used=1",
        "0,dividend=1,average=2", "0,hold=5", "0,behave=short=34", "0,behave=reset=1"}) {
    EXPECT_THROW(parseServerOptions(description), std::invalid_argument) << description;
  }
}

TEST(ServerOptions, EveryServerHasAPortOfItsOwn) {
  const auto servers = repeated(parseServerOptions("65533"), 3);
  EXPECT_EQ(servers[2].port, 65535);
  EXPECT_THROW(repeated(servers[0], 4), std::invalid_argument);
  EXPECT_NO_THROW(refuseSharedPorts(repeated(parseServerOptions("0"), 500)));
  EXPECT_THROW(refuseSharedPorts({servers[0], servers[1], servers[0]}), std::invalid_argument);
}

}  // namespace nimbolsp::tools
