// Rights that differ between an object and its instances: whatever is asked, and however, nobody gets to know more than
// the rights of each node allow.
#include "tests/unit/ravd/model_fixture.h"

namespace ravd {

class RightsTest : public ModelTest {
 protected:
    RightsTest() {
        std::string error;
        model = Model::load(RAV_SOURCE "/tests/data/schema/rights", {}, error);
        EXPECT_TRUE(model) << error;
        Model::Parts &parts = model->parts();
        for (const char *name : {"Open", "Closed"})
            parts.root->table(*parts.schema->root.find("Device")->find(name)).add();
        viewer.role = Role::guest;
    }
};

TEST_F(RightsTest, InstancesThatMayNotBeSeenAreListedNowhere) {
    EXPECT_EQ(list(names("Device.Open.", true)), "");
    EXPECT_EQ(list(names("Device.Open.", false)), "Device.Open.");
    EXPECT_EQ(list(attributes({"Device.Open."}, -1)), "Device.Open. Device.Open.max_instance");
    EXPECT_EQ(list(values({"Device.Open."})), "");
    EXPECT_EQ(config("Device.Open."), "{\"Config\":{\"Device\":{\"Open\":{\"max_instance\":1}}}}");
    EXPECT_EQ(datamodel({"Device.Open."}).find("Hidden"), std::string::npos);
    const std::string unknown = "9005: [Device.Open.1.] 9005 Invalid parameter name;";
    EXPECT_EQ(names("Device.Open.1.", true), unknown);
    EXPECT_EQ(values({"Device.Open.1."}), unknown);
    EXPECT_EQ(attributes({"Device.Open.1."}), unknown);
    EXPECT_EQ(datamodel({"Device.Open.1."}), unknown);
    EXPECT_EQ(config("Device.Open.1."), unknown);
}

TEST_F(RightsTest, TheWayToWhatMayBeSeenIsSeen) {
    EXPECT_EQ(list(names(".", false)), ". Device. Device.Open. Device.Closed. Device.Closed.1. Device.Closed.1.Public");
    EXPECT_EQ(list(values({"."})), "Device.Closed.1.Public");
    EXPECT_EQ(list(attributes({"Device.Closed."}, 1)), "Device.Closed. Device.Closed.#template. Device.Closed.1.");
    EXPECT_EQ(values({"Device.Closed.max_instance"}),
              "9005: [Device.Closed.max_instance] 9005 Invalid parameter name;");
    EXPECT_EQ(config("Device.Closed.1.Public"), "{\"Config\":{\"Device\":{\"Closed\":{\"1\":{\"Public\":0}}}}}");
}

}  // namespace ravd
