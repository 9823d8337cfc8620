// The Tessary pane's controller: the class the settings host creates from the
// bundle. It connects the interface file's controls to the pane logic
// (pane_logic.h), which decides everything the pane shows and does.
#ifndef TESSARY_PREF_H
#define TESSARY_PREF_H

#import <AppKit/AppKit.h>
#import <PreferencePanes/PreferencePanes.h>

#ifdef GNUSTEP
#import "SFAuthorizationView.h"
#else
#import <SecurityInterface/SFAuthorizationView.h>
#endif

#ifdef __cplusplus
namespace tessary_appkit {
class PaneBridge;
}
typedef tessary_appkit::PaneBridge TessaryPaneBridge;
#else
typedef struct TessaryPaneBridge TessaryPaneBridge;
#endif

@interface TessaryPref : NSPreferencePane {
  IBOutlet NSButton *chk_messages;
  IBOutlet NSButton *button_logon;
  IBOutlet NSButton *button_lu;
  IBOutlet NSButton *button_tarrow;
  IBOutlet NSTextField *txt_address;
  IBOutlet NSTextField *txt_maid;
  IBOutlet NSTextField *txt_status;
  IBOutlet NSTextField *txt_vers;
  IBOutlet NSTextField *txt_shadow;
  IBOutlet NSTextField *txt_lu;
  IBOutlet NSTextField *txt_tarrow;
  IBOutlet SFAuthorizationView *view_auth;
  NSTimer *statusTimer;
  char addr_from_ty[256];
  NSURL *luURL;
  NSURL *tarrowURL;
  // The pane logic and the services it reaches the controls through.
  TessaryPaneBridge *bridge;
  // The view's frames as the interface file gave them, for closing up the
  // rows of hidden companion applications.
  NSArray *baseFrames;
}

- (void)mainViewDidLoad;
- (void)didSelect;
- (void)willUnselect;
- (void)didUnselect;
- (IBAction)checkboxClicked:(id)sender;
- (IBAction)logonClicked:(id)sender;
- (IBAction)luClicked:(id)sender;
- (IBAction)tarrowClicked:(id)sender;
- (BOOL)isUnlocked;
- (void)controlTextDidChange:(NSNotification *)notification;
- (void)controlTextDidEndEditing:(NSNotification *)notification;
- (void)authorizationViewDidAuthorize:(SFAuthorizationView *)view;
- (void)authorizationViewDidDeauthorize:(SFAuthorizationView *)view;
- (void)updateStatus:(NSTimer *)timer;
- (void)gather_settings;
- (void)scatter_settings:(BOOL)logon;

@end

#endif
