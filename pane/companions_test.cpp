// The companion applications: presence decides the buttons and labels, a
// click opens the application or says why it cannot.
#include <gtest/gtest.h>

#include "pane/pane_test_support.h"

namespace tessary::testing {
namespace {

class PaneCompanions : public PaneTest {
 protected:
  void expect(PaneControl button, PaneControl label, bool present, bool hidden) {
    EXPECT_EQ(controls[button].enabled, present);
    EXPECT_EQ(controls[button].hidden, hidden);
    EXPECT_EQ(controls[label].hidden, hidden);
    EXPECT_EQ(controls[label].colour, present ? TextColour::black : TextColour::light_grey);
  }
};

TEST_F(PaneCompanions, PresenceMatrixAndAlerts) {
  using P = PaneControl;
  save(connected_state());
  launcher.apps[kLumetPath] = {kApplicationType, kLumetCreator, true};
  launcher.apps[kTarrowPath] = {four_cc("fold"), kTarrowCreator, true};  // not an application
  logic->didSelect();
  expect(P::button_lu, P::txt_lu, true, false);
  expect(P::button_tarrow, P::txt_tarrow, false, true);
  EXPECT_EQ(logic->lu_url(), std::optional<std::string>(kLumetPath));
  EXPECT_FALSE(logic->tarrow_url());

  launcher.apps[kLumetPath].creator = kTarrowCreator;  // another creator is absent too
  launcher.apps[kTarrowPath] = {kApplicationType, kTarrowCreator, false};
  logic->didSelect();
  expect(P::button_lu, P::txt_lu, false, true);
  expect(P::button_tarrow, P::txt_tarrow, true, false);
  logic->tarrowClicked();  // present, but it will not open
  EXPECT_EQ(launcher.opened, std::vector<std::string>{kTarrowPath});
  logic->luClicked();  // absent: nothing is opened
  EXPECT_EQ(launcher.opened.size(), 1u);
  localizer.table = {{"OK", "Gut"}};
  launcher.apps.clear();
  logic->tarrowClicked();  // removed since the pane was shown
  EXPECT_EQ(alert.shown,
            (std::vector<std::string>{
                "Tarrow could not be opened. Try re-installing the Orrin Client. | OK",
                "Lumet could not be found. Try re-installing the Orrin Client. | OK",
                "Tarrow could not be opened. Try re-installing the Orrin Client. | Gut"}));

  // Controls that cannot hide stay visible, disabled and grey.
  for (PaneControl c : {P::button_lu, P::txt_lu})
    controls[c].can_hide = controls[c].hidden = false;
  logic->didSelect();
  expect(P::button_lu, P::txt_lu, false, false);
  expect(P::button_tarrow, P::txt_tarrow, false, true);
}

}  // namespace
}  // namespace tessary::testing
