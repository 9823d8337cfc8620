// The companion applications: presence decides the buttons and labels, a
// click opens the application or says why it cannot.
#include <gtest/gtest.h>

#include "pane/pane_test_support.h"

namespace tessary::testing {
namespace {

class PaneCompanions : public PaneTest {
 protected:
  void SetUp() override {
    PaneTest::SetUp();
    save(connected_state());
  }
  void expect_present(PaneControl button, PaneControl label) {
    EXPECT_TRUE(controls[button].enabled);
    EXPECT_FALSE(controls[button].hidden);
    EXPECT_FALSE(controls[label].hidden);
    EXPECT_EQ(controls[label].colour, TextColour::black);
  }
  void expect_absent(PaneControl button, PaneControl label, bool hidden = true) {
    EXPECT_FALSE(controls[button].enabled);
    EXPECT_EQ(controls[button].hidden, hidden);
    EXPECT_EQ(controls[label].hidden, hidden);
    EXPECT_EQ(controls[label].colour, TextColour::light_grey);
  }
};

TEST_F(PaneCompanions, PresenceMatrix) {
  launcher.apps[kLumetPath] = {kApplicationType, kLumetCreator, true};
  logic->didSelect();
  expect_present(PaneControl::button_lu, PaneControl::txt_lu);
  expect_absent(PaneControl::button_tarrow, PaneControl::txt_tarrow);
  EXPECT_EQ(logic->lu_url(), std::optional<std::string>(kLumetPath));
  EXPECT_FALSE(logic->tarrow_url());

  // Another creator, or something that is not an application, is absent.
  launcher.apps[kLumetPath] = {kApplicationType, kTarrowCreator, true};
  launcher.apps[kTarrowPath] = {four_cc("fold"), kTarrowCreator, true};
  logic->didSelect();
  expect_absent(PaneControl::button_lu, PaneControl::txt_lu);
  expect_absent(PaneControl::button_tarrow, PaneControl::txt_tarrow);

  launcher.apps[kTarrowPath] = {kApplicationType, kTarrowCreator, true};
  logic->didSelect();
  expect_present(PaneControl::button_tarrow, PaneControl::txt_tarrow);

  // Controls that cannot hide stay visible, disabled and grey.
  launcher.apps.clear();
  for (PaneControl c : {PaneControl::button_lu, PaneControl::txt_lu}) {
    controls[c].can_hide = false;
    controls[c].hidden = false;
  }
  logic->didSelect();
  expect_absent(PaneControl::button_lu, PaneControl::txt_lu, false);
  expect_absent(PaneControl::button_tarrow, PaneControl::txt_tarrow);
}

TEST_F(PaneCompanions, OpeningAndItsAlerts) {
  launcher.apps[kLumetPath] = {kApplicationType, kLumetCreator, true};
  launcher.apps[kTarrowPath] = {kApplicationType, kTarrowCreator, false};
  logic->didSelect();

  logic->luClicked();
  EXPECT_EQ(launcher.opened, std::vector<std::string>{kLumetPath});
  EXPECT_TRUE(alert.shown.empty());

  logic->tarrowClicked();
  ASSERT_EQ(alert.shown.size(), 1u);
  EXPECT_EQ(alert.shown[0], "Tarrow could not be opened. Try re-installing the Orrin Client. | OK");

  // Removed since the pane was shown: the open fails.
  launcher.apps.erase(kLumetPath);
  logic->luClicked();
  ASSERT_EQ(alert.shown.size(), 2u);
  EXPECT_EQ(alert.shown[1], "Lumet could not be opened. Try re-installing the Orrin Client. | OK");

  // Hidden pane or missing application: nothing is opened.
  launcher.opened.clear();
  logic->didUnselect();
  logic->luClicked();
  logic->tarrowClicked();
  EXPECT_TRUE(launcher.opened.empty());
  ASSERT_EQ(alert.shown.size(), 4u);
  EXPECT_EQ(alert.shown[2], "Lumet could not be found. Try re-installing the Orrin Client. | OK");
  EXPECT_EQ(alert.shown[3], "Tarrow could not be found. Try re-installing the Orrin Client. | OK");
}

TEST_F(PaneCompanions, AlertTextsAreLocalised) {
  localizer.table = {{"Lumet could not be found. Try re-installing the Orrin Client.", "weg"},
                     {"OK", "Gut"}};
  logic->luClicked();
  EXPECT_EQ(alert.shown, std::vector<std::string>{"weg | Gut"});
}

}  // namespace
}  // namespace tessary::testing
