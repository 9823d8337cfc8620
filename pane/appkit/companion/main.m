// A small companion application for the demo and the tests: it opens one
// window showing the name of the bundle it was started from. When
// TESSARY_COMPANION_LOG names a file, a line with the name and the process id
// is appended to it on start, so a test can see that the application was
// really launched (and stop it).
#import <AppKit/AppKit.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

@interface CompanionDelegate : NSObject {
  NSWindow *window;
}
@end

@implementation CompanionDelegate
- (void)applicationDidFinishLaunching:(NSNotification *)note {
  (void)note;
  NSString *name = [[[NSBundle mainBundle] infoDictionary] objectForKey:@"CFBundleName"];
  if (name == nil) name = [[NSProcessInfo processInfo] processName];

  const char *log = getenv("TESSARY_COMPANION_LOG");
  if (log != NULL && *log != '\0') {
    FILE *f = fopen(log, "a");
    if (f != NULL) {
      fprintf(f, "%s %d\n", [name UTF8String], (int)getpid());
      fclose(f);
    }
  }

  window = [[NSWindow alloc] initWithContentRect:NSMakeRect(200, 200, 360, 120)
                                       styleMask:NSTitledWindowMask | NSClosableWindowMask
                                         backing:NSBackingStoreBuffered
                                           defer:NO];
  [window setTitle:name];
  NSTextField *label = [[NSTextField alloc] initWithFrame:NSMakeRect(20, 40, 320, 40)];
  [label setStringValue:name];
  [label setFont:[NSFont boldSystemFontOfSize:24]];
  [label setAlignment:NSCenterTextAlignment];
  [label setEditable:NO];
  [label setSelectable:NO];
  [label setBezeled:NO];
  [label setDrawsBackground:NO];
  [[window contentView] addSubview:label];
  [label release];
  [window makeKeyAndOrderFront:nil];
}

- (BOOL)applicationShouldTerminateAfterLastWindowClosed:(NSApplication *)app {
  (void)app;
  return YES;
}
@end

int main(int argc, const char **argv) {
  (void)argc;
  (void)argv;
  NSAutoreleasePool *pool = [NSAutoreleasePool new];
  NSApplication *app = [NSApplication sharedApplication];
  CompanionDelegate *delegate = [CompanionDelegate new];
  [app setDelegate:delegate];
  [app run];
  [delegate release];
  [pool release];
  return 0;
}
