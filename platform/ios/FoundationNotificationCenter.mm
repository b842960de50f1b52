#include "platform/ios/FoundationNotificationCenter.hpp"

#include <utility>

#include "platform/ios/FoundationValues.h"

/// Stands in the center for one handler.
@interface QLNotificationObserver : NSObject {
    std::function<void()>* _handler;
}
- (id)initWithHandler:(std::function<void()>)handler;
- (void)noticed:(NSNotification*)notification;
@end

@implementation QLNotificationObserver
- (id)initWithHandler:(std::function<void()>)handler {
    if ((self = [super init])) _handler = new std::function<void()>(std::move(handler));
    return self;
}
- (void)dealloc {
    delete _handler;
    [super dealloc];
}
- (void)noticed:(NSNotification*)notification {
    [self retain];  // the handler may remove itself
    (*_handler)();
    [self release];
}
@end

namespace quillet {

FoundationNotificationCenter::~FoundationNotificationCenter() {
    while (!observers_.empty()) removeObserver(observers_.begin()->first);
    for (const auto& [token, sender] : senders_) [sender release];
}

void FoundationNotificationCenter::addObserver(ObjectToken observer, std::string_view name, ObjectToken object,
                                               std::function<void()> handler) {
    QLNotificationObserver* proxy = [[QLNotificationObserver alloc] initWithHandler:std::move(handler)];
    [[NSNotificationCenter defaultCenter] addObserver:proxy
                                             selector:@selector(noticed:)
                                                 name:stringOf(name)
                                               object:senderFor(object)];
    observers_[observer].push_back(proxy);
}

void FoundationNotificationCenter::removeObserver(ObjectToken observer) {
    const auto found = observers_.extract(observer);
    if (found.empty()) return;
    for (id proxy : found.mapped()) {
        [[NSNotificationCenter defaultCenter] removeObserver:proxy];
        [proxy release];
    }
}

void FoundationNotificationCenter::post(std::string_view name, ObjectToken object) {
    [[NSNotificationCenter defaultCenter] postNotificationName:stringOf(name) object:senderFor(object)];
}

id FoundationNotificationCenter::senderFor(ObjectToken token) {
    // No object at all would stand for every sender; and here none is just another token.
    id& sender = senders_[token];
    if (sender == nil) sender = [[NSObject alloc] init];
    return sender;
}

}  // namespace quillet
