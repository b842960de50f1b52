#include "platform/ios/DistributedMessagingCenter.hpp"

#include <utility>

#include "platform/ios/FoundationValues.h"
#import "platform/ios/PrivateClasses.h"
#import "platform/ios/SystemClasses.h"

/// Stands in a center for one handler.
@interface QLMessageHandler : NSObject {
    quillet::MessagingCenter::Handler* _handler;
}
- (id)initWithHandler:(quillet::MessagingCenter::Handler)handler;
- (NSDictionary*)handleMessageNamed:(NSString*)name withUserInfo:(NSDictionary*)userInfo;
@end

@implementation QLMessageHandler
- (id)initWithHandler:(quillet::MessagingCenter::Handler)handler {
    if ((self = [super init])) _handler = new quillet::MessagingCenter::Handler(std::move(handler));
    return self;
}
- (void)dealloc {
    delete _handler;
    [super dealloc];
}
- (NSDictionary*)handleMessageNamed:(NSString*)name withUserInfo:(NSDictionary*)userInfo {
    [self retain];  // the handler may put another in its place
    const auto sent = quillet::dictionaryOf(userInfo);
    const auto reply = (*_handler)(quillet::textOf(name), sent ? &*sent : nullptr);
    [self release];
    return quillet::objectOf(reply.value_or(quillet::util::PropertyDictionary()));
}
@end

namespace quillet {

namespace {

using CenterObject = id<CPDistributedMessagingCenterObject>;

NSDictionary* userInfoOf(const util::PropertyDictionary* userInfo) {
    return userInfo == nullptr ? nil : objectOf(*userInfo);
}

}  // namespace

DistributedMessagingCenter::DistributedMessagingCenter(id center) : center_([center retain]) {}

DistributedMessagingCenter::~DistributedMessagingCenter() {
    for (const auto& [name, handler] : handlers_) {
        [(CenterObject)answering(center_, @selector(unregisterForMessageName:))
            unregisterForMessageName:stringOf(name)];
        [handler release];
    }
    [center_ release];
}

bool DistributedMessagingCenter::sendMessageName(const std::string& name, const util::PropertyDictionary* userInfo) {
    return [(CenterObject)answering(center_, @selector(sendMessageName:
                                                              userInfo:)) sendMessageName:stringOf(name)
                                                                                 userInfo:userInfoOf(userInfo)];
}

std::optional<util::PropertyDictionary> DistributedMessagingCenter::sendMessageAndReceiveReplyName(
    const std::string& name, const util::PropertyDictionary* userInfo) {
    return dictionaryOf([(CenterObject)answering(center_, @selector(sendMessageAndReceiveReplyName:userInfo:))
        sendMessageAndReceiveReplyName:stringOf(name)
                              userInfo:userInfoOf(userInfo)]);
}

bool DistributedMessagingCenter::runServerOnCurrentThread() {
    [(CenterObject)answering(center_, @selector(runServerOnCurrentThread)) runServerOnCurrentThread];
    return true;  // the class does not tell
}

void DistributedMessagingCenter::registerForMessageName(const std::string& name, Handler handler) {
    id object = [[QLMessageHandler alloc] initWithHandler:std::move(handler)];
    registerForMessageName(name, object, @selector(handleMessageNamed:withUserInfo:));
    handlers_[name] = object;
}

void DistributedMessagingCenter::registerForMessageName(const std::string& name, id target, SEL selector) {
    [(CenterObject)answering(center_, @selector(registerForMessageName:
                                                                target:selector:)) registerForMessageName:stringOf(name)
                                                                                                   target:target
                                                                                                 selector:selector];
    // Not before: the center does not keep its targets.
    if (const auto replaced = handlers_.extract(name)) [replaced.mapped() release];
}

void DistributedMessagingCenter::stopServer() {
    [(CenterObject)answering(center_, @selector(stopServer)) stopServer];
}

std::shared_ptr<MessagingCenter> DistributedMessagingCenters::centerNamed(std::string_view name) {
    return distributedCenterNamed(name);
}

std::shared_ptr<DistributedMessagingCenter> DistributedMessagingCenters::distributedCenterNamed(std::string_view name) {
    auto& known = centers_[std::string(name)];
    auto center = known.lock();
    if (center) return center;
    id object = [(id<CPDistributedMessagingCenterClass>)answering(
        classNamed("CPDistributedMessagingCenter", kAppSupport), @selector(centerNamed:)) centerNamed:stringOf(name)];
    if (object != nil) known = center = std::make_shared<DistributedMessagingCenter>(object);
    return center;
}

}  // namespace quillet
