// Choosing an installed font that covers a text (see TessaryFont.h).
#import "TessaryFont.h"

static BOOL Covers(NSFont *font, NSString *text) {
  NSCharacterSet *covered = [font coveredCharacterSet];
  if (covered == nil) return YES;  // nothing known: trust the font
  NSCharacterSet *blank = [NSCharacterSet whitespaceAndNewlineCharacterSet];
  NSUInteger n = [text length];
  for (NSUInteger i = 0; i < n; i++) {
    unichar c = [text characterAtIndex:i];
    if (c >= 0xD800 && c <= 0xDFFF) continue;  // beyond the basic plane: not checked
    if (![covered characterIsMember:c] && ![blank characterIsMember:c]) return NO;
  }
  return YES;
}

NSFont *TessaryFontCovering(NSFont *font, NSString *text) {
  if (font == nil || text == nil || Covers(font, text)) return font;
  NSFontManager *manager = [NSFontManager sharedFontManager];
  BOOL bold = ([manager traitsOfFont:font] & NSBoldFontMask) != 0;
  CGFloat size = [font pointSize];
  for (NSString *family in [manager availableFontFamilies]) {
    NSArray *members = [manager availableMembersOfFontFamily:family];
    if ([members count] == 0) continue;
    NSFont *candidate = [NSFont fontWithName:[[members objectAtIndex:0] objectAtIndex:0] size:size];
    if (candidate == nil || !Covers(candidate, text)) continue;
    if (bold) {
      NSFont *heavier = [manager convertFont:candidate toHaveTrait:NSBoldFontMask];
      if (heavier != nil && Covers(heavier, text)) candidate = heavier;
    }
    return candidate;
  }
  return font;
}

void TessaryFitFont(NSControl *control) {
  NSString *text = [control isKindOfClass:[NSButton class]] ? [(NSButton *)control title]
                                                            : [control stringValue];
  NSFont *font = [control font];
  NSFont *fitting = TessaryFontCovering(font, text);
  if (fitting != font) [control setFont:fitting];
}
