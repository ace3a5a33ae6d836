// Minimal Core Animation declarations (macOS SDK signatures) for syntax checking on Linux.
#ifndef MACCOMPAT_QUARTZCORE_H
#define MACCOMPAT_QUARTZCORE_H
#import <Foundation/Foundation.h>
#include "../ShimOnly.h"

NS_ASSUME_NONNULL_BEGIN

typedef double CFTimeInterval;
typedef NSString *CAMediaTimingFunctionName;
typedef NSString *CAMediaTimingFillMode;

@protocol CAMediaTiming
@property CFTimeInterval beginTime SHIM_ONLY;
@property CFTimeInterval duration SHIM_ONLY;
@property float speed SHIM_ONLY;
@property CFTimeInterval timeOffset SHIM_ONLY;
@property float repeatCount SHIM_ONLY;
@property CFTimeInterval repeatDuration SHIM_ONLY;
@property BOOL autoreverses SHIM_ONLY;
@property (copy) CAMediaTimingFillMode fillMode SHIM_ONLY;
@end

@interface CAMediaTimingFunction : NSObject
+ (instancetype)functionWithName:(CAMediaTimingFunctionName)name SHIM_ONLY;
+ (instancetype)functionWithControlPoints:(float)c1x :(float)c1y :(float)c2x :(float)c2y SHIM_ONLY;
@end
FOUNDATION_EXPORT CAMediaTimingFunctionName const kCAMediaTimingFunctionLinear SHIM_ONLY;
FOUNDATION_EXPORT CAMediaTimingFunctionName const kCAMediaTimingFunctionEaseIn SHIM_ONLY;
FOUNDATION_EXPORT CAMediaTimingFunctionName const kCAMediaTimingFunctionEaseOut SHIM_ONLY;
FOUNDATION_EXPORT CAMediaTimingFunctionName const kCAMediaTimingFunctionEaseInEaseOut SHIM_ONLY;
FOUNDATION_EXPORT CAMediaTimingFunctionName const kCAMediaTimingFunctionDefault SHIM_ONLY;
FOUNDATION_EXPORT CAMediaTimingFillMode const kCAFillModeForwards SHIM_ONLY;
FOUNDATION_EXPORT CAMediaTimingFillMode const kCAFillModeBackwards SHIM_ONLY;
FOUNDATION_EXPORT CAMediaTimingFillMode const kCAFillModeBoth SHIM_ONLY;
FOUNDATION_EXPORT CAMediaTimingFillMode const kCAFillModeRemoved SHIM_ONLY;

@class CAAnimation;
@protocol CAAnimationDelegate <NSObject>
@optional
- (void)animationDidStart:(CAAnimation *)anim SHIM_ONLY;
- (void)animationDidStop:(CAAnimation *)anim finished:(BOOL)flag SHIM_ONLY;
@end

@interface CAAnimation : NSObject <NSCopying, CAMediaTiming>
+ (instancetype)animation SHIM_ONLY;
@property (nullable, strong) CAMediaTimingFunction *timingFunction SHIM_ONLY;
@property (nullable, strong) id<CAAnimationDelegate> delegate SHIM_ONLY;
@property (getter=isRemovedOnCompletion) BOOL removedOnCompletion SHIM_ONLY;
@end

@interface CAPropertyAnimation : CAAnimation
+ (instancetype)animationWithKeyPath:(nullable NSString *)path SHIM_ONLY;
@property (nullable, copy) NSString *keyPath SHIM_ONLY;
@property (getter=isAdditive) BOOL additive SHIM_ONLY;
@property (getter=isCumulative) BOOL cumulative SHIM_ONLY;
@end

@interface CABasicAnimation : CAPropertyAnimation
@property (nullable, strong) id fromValue SHIM_ONLY;
@property (nullable, strong) id toValue SHIM_ONLY;
@property (nullable, strong) id byValue SHIM_ONLY;
@end

@interface CALayer : NSObject <CAMediaTiming>
+ (instancetype)layer SHIM_ONLY;
@property float opacity SHIM_ONLY;
@property (getter=isHidden) BOOL hidden SHIM_ONLY;
@property CGFloat cornerRadius SHIM_ONLY;
@property (nullable, strong) id contents SHIM_ONLY;
- (void)addAnimation:(CAAnimation *)anim forKey:(nullable NSString *)key SHIM_ONLY;
- (void)removeAllAnimations SHIM_ONLY;
- (void)removeAnimationForKey:(NSString *)key SHIM_ONLY;
- (nullable __kindof CAAnimation *)animationForKey:(NSString *)key SHIM_ONLY;
- (nullable NSArray<NSString *> *)animationKeys SHIM_ONLY;
@end

@interface CATransaction : NSObject
+ (void)begin SHIM_ONLY;
+ (void)commit SHIM_ONLY;
+ (void)setAnimationDuration:(CFTimeInterval)dur SHIM_ONLY;
+ (void)setDisableActions:(BOOL)flag SHIM_ONLY;
@end

NS_ASSUME_NONNULL_END
#endif
