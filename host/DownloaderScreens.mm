#import <Foundation/Foundation.h>
