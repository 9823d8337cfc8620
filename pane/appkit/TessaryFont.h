// Fonts that can draw a text: the toolkit draws a character that its font
// lacks as "?", so texts in scripts the system font does not cover (Japanese,
// Chinese) are given an installed font that covers them.
#ifndef TESSARY_FONT_H
#define TESSARY_FONT_H

#import <AppKit/AppKit.h>

#ifdef __cplusplus
extern "C" {
#endif

// `font` when it covers every character of `text`; else an installed font of
// the same size (bold when `font` is) that does, or `font` when none does.
NSFont *TessaryFontCovering(NSFont *font, NSString *text);

// Gives a control (text field or button) a font that covers its text.
void TessaryFitFont(NSControl *control);

#ifdef __cplusplus
}
#endif

#endif
