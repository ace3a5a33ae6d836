// corvane-iconset FOLDER: writes the app icon as an iconset folder (the PNG sizes `iconutil`
// turns into Corvane.icns at build time): the status icon's bolt, from the same vector data the
// menu bar draws, in black on a white rounded tile so that it reads on light and dark Finder
// windows alike.

#import <AppKit/AppKit.h>

#include <cstdio>

#include "menu/IconRenderer.h"
#import "platform/macos/VectorImageDrawing.h"

namespace {

// iconutil's names: icon_16x16.png, icon_16x16@2x.png, ... icon_512x512@2x.png.
constexpr int iconPoints[] = {16, 32, 128, 256, 512};

NSData* pngOfIcon(NSImage* bolt, int points, int scale) {
    const int pixels = points * scale;
    NSBitmapImageRep* bitmap = [[NSBitmapImageRep alloc] initWithBitmapDataPlanes:nullptr
                                                                        pixelsWide:pixels
                                                                        pixelsHigh:pixels
                                                                     bitsPerSample:8
                                                                   samplesPerPixel:4
                                                                          hasAlpha:YES
                                                                          isPlanar:NO
                                                                    colorSpaceName:NSDeviceRGBColorSpace
                                                                       bytesPerRow:0
                                                                      bitsPerPixel:0];
    bitmap.size = NSMakeSize(points, points);
    [NSGraphicsContext saveGraphicsState];
    [NSGraphicsContext setCurrentContext:[NSGraphicsContext graphicsContextWithBitmapImageRep:bitmap]];
    const CGFloat side = points;
    const NSRect tile = NSInsetRect(NSMakeRect(0, 0, side, side), side * 0.1, side * 0.1);
    [NSColor.whiteColor setFill];
    [[NSBezierPath bezierPathWithRoundedRect:tile xRadius:side * 0.18 yRadius:side * 0.18] fill];
    [bolt drawInRect:NSInsetRect(tile, side * 0.12, side * 0.12)
            fromRect:NSZeroRect
           operation:NSCompositingOperationSourceOver
            fraction:1.0];
    [NSGraphicsContext restoreGraphicsState];
    return [bitmap representationUsingType:NSBitmapImageFileTypePNG properties:@{}];
}

}  // namespace

int main(int argc, char** argv) {
    @autoreleasepool {
        if (argc != 2) {
            std::fputs("usage: corvane-iconset FOLDER.iconset\n", stderr);
            return 2;
        }
        NSString* folder = [NSString stringWithUTF8String:argv[1]];
        if (![NSFileManager.defaultManager createDirectoryAtPath:folder
                                     withIntermediateDirectories:YES
                                                      attributes:nil
                                                           error:nil])
            return 1;
        NSImage* bolt = corvane::mac::nsImage(
            corvane::IconRenderer::image(corvane::IconState::running, std::nullopt, false), nil);
        [bolt setTemplate:NO];
        for (const int points : iconPoints) {
            for (const int scale : {1, 2}) {
                NSString* name = scale == 1 ? [NSString stringWithFormat:@"icon_%dx%d.png", points, points]
                                            : [NSString stringWithFormat:@"icon_%dx%d@2x.png", points, points];
                NSData* png = pngOfIcon(bolt, points, scale);
                if (!png || ![png writeToFile:[folder stringByAppendingPathComponent:name] atomically:YES]) return 1;
            }
        }
    }
    return 0;
}
