// Shared by the bundle tests: the built Tessary.prefPane, loaded once.
#ifndef TESSARY_PANE_BUNDLE_TEST_H
#define TESSARY_PANE_BUNDLE_TEST_H

#import <Foundation/Foundation.h>

// The loaded bundle; nil when it cannot be loaded.
NSBundle *TessaryPaneBundle();

#endif
