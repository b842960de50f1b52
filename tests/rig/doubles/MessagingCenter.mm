#import <Foundation/Foundation.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <optional>
#include <string>

#include "tests/rig/doubles/DispatchQueues.h"
#import "tests/rig/doubles/Doubles.h"

/// A connection carries one message, a property list {"name", "userInfo", "waits"}, and at most one reply.
@interface CPDistributedMessagingCenter : NSObject {
    NSString* _name;
    NSMutableDictionary* _handlers;  // [target, selector's name] by message name, the target as a bare address
    int _server;
}
+ (id)centerNamed:(NSString*)name;
- (BOOL)sendMessageName:(NSString*)name userInfo:(NSDictionary*)userInfo;
- (NSDictionary*)sendMessageAndReceiveReplyName:(NSString*)name userInfo:(NSDictionary*)userInfo;
- (void)runServerOnCurrentThread;
- (void)registerForMessageName:(NSString*)name target:(id)target selector:(SEL)selector;
- (void)unregisterForMessageName:(NSString*)name;
- (void)stopServer;
@end

namespace {

/// So long may the other side take before it counts as gone.
constexpr timeval kLongestWait{20, 0};

struct Address {
    /// One for each center of each device. It is gone with the process that serves it, however that ends.
    explicit Address(NSString* center) {
        const char* root = std::getenv("QUILLET_RIG_ROOT");
        if (root == nullptr) rig::misuse("messages need a QUILLET_RIG_ROOT");
        const auto hash = std::hash<std::string>()(std::string(root) + '\n' + [center UTF8String]);
        std::snprintf(&address.sun_path[1], sizeof address.sun_path - 1, "quillet-rig-%016zx", hash);
    }
    const sockaddr* pointer() const { return reinterpret_cast<const sockaddr*>(&address); }

    sockaddr_un address{AF_UNIX, {}};
};

int newSocket() {
    const int made = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    setsockopt(made, SOL_SOCKET, SO_RCVTIMEO, &kLongestWait, sizeof kLongestWait);
    return made;
}

void sendList(int connection, NSDictionary* list) {
    NSData* data = [NSPropertyListSerialization dataWithPropertyList:list
                                                              format:NSPropertyListBinaryFormat_v1_0
                                                             options:0
                                                               error:NULL];
    if (data == nil) rig::misuse("a message that is no property list");
    const auto* bytes = static_cast<const char*>([data bytes]);
    for (std::size_t left = [data length]; left > 0;) {
        const ssize_t sent = send(connection, bytes + [data length] - left, left, MSG_NOSIGNAL);
        if (sent < 0) break;
        left -= static_cast<std::size_t>(sent);
    }
    shutdown(connection, SHUT_WR);
}

/// nil where the other side sent none.
NSDictionary* receiveList(int connection) {
    NSMutableData* data = [NSMutableData data];
    char bytes[4096];
    for (ssize_t count = 0; (count = recv(connection, bytes, sizeof bytes, 0)) > 0;)
        [data appendBytes:bytes length:static_cast<NSUInteger>(count)];
    if ([data length] == 0) return nil;
    return [NSPropertyListSerialization propertyListWithData:data options:0 format:NULL error:NULL];
}

}  // namespace

@implementation CPDistributedMessagingCenter

+ (id)centerNamed:(NSString*)name {
    static NSMutableDictionary* centers = [[NSMutableDictionary alloc] init];
    CPDistributedMessagingCenter* center = [centers objectForKey:name];
    if (center == nil) {
        center = [[[self alloc] init] autorelease];
        center->_name = [name copy];
        center->_handlers = [[NSMutableDictionary alloc] init];
        center->_server = -1;
        [centers setObject:center forKey:name];
    }
    return center;
}

/// A connection with the message sent, or -1 where nobody serves the center.
- (int)connectionForMessage:(NSString*)name userInfo:(NSDictionary*)userInfo waits:(BOOL)waits {
    const Address address(_name);
    const int connection = newSocket();
    if (connect(connection, address.pointer(), sizeof address.address) != 0) {
        close(connection);
        return -1;
    }
    NSMutableDictionary* message = [NSMutableDictionary dictionaryWithObject:name forKey:@"name"];
    [message setObject:[NSNumber numberWithBool:waits] forKey:@"waits"];
    if (userInfo != nil) [message setObject:userInfo forKey:@"userInfo"];
    sendList(connection, message);
    return connection;
}

- (BOOL)sendMessageName:(NSString*)name userInfo:(NSDictionary*)userInfo {
    const int connection = [self connectionForMessage:name userInfo:userInfo waits:NO];
    rigRecord([NSString stringWithFormat:@"center %@ send %@ %@ -> %@", _name, name, rigDescription(userInfo),
                                         connection < 0 ? @"NO" : @"YES"]);
    if (connection >= 0) close(connection);
    return connection >= 0;
}

- (NSDictionary*)sendMessageAndReceiveReplyName:(NSString*)name userInfo:(NSDictionary*)userInfo {
    const int connection = [self connectionForMessage:name userInfo:userInfo waits:YES];
    NSDictionary* reply = connection < 0 ? nil : receiveList(connection);
    if (connection >= 0) close(connection);
    rigRecord([NSString
        stringWithFormat:@"center %@ call %@ %@ -> %@", _name, name, rigDescription(userInfo), rigDescription(reply)]);
    return reply;
}

- (void)runServerOnCurrentThread {
    rigRecord([NSString stringWithFormat:@"center %@ runServer", _name]);
    if (_server >= 0) return;
    const Address address(_name);
    const int server = newSocket();
    // As on the device: who comes second serves nothing, and is not told.
    if (bind(server, address.pointer(), sizeof address.address) != 0 || listen(server, SOMAXCONN) != 0) {
        close(server);
        return;
    }
    _server = server;
    rigWhenReadable(_server, [self] { [self accept]; });
}

- (void)registerForMessageName:(NSString*)name target:(id)target selector:(SEL)selector {
    rigRecord([NSString stringWithFormat:@"center %@ register %@", _name, name]);
    // The target is not retained.
    [_handlers setObject:@[ [NSValue valueWithPointer:target], NSStringFromSelector(selector) ] forKey:name];
}

- (void)unregisterForMessageName:(NSString*)name {
    [_handlers removeObjectForKey:name];
}

- (void)stopServer {
    rigRecord([NSString stringWithFormat:@"center %@ stopServer", _name]);
    if (_server < 0) return;
    rigForget(_server);
    close(_server);
    _server = -1;
}

- (void)accept {
    const int connection = accept4(_server, NULL, NULL, SOCK_CLOEXEC);
    if (connection < 0) return;
    setsockopt(connection, SOL_SOCKET, SO_RCVTIMEO, &kLongestWait, sizeof kLongestWait);
    NSDictionary* message = receiveList(connection);
    NSArray* handler = [_handlers objectForKey:[message objectForKey:@"name"]];
    if (handler != nil) {
        NSString* name = [message objectForKey:@"name"];
        NSDictionary* userInfo = [message objectForKey:@"userInfo"];
        rigRecord([NSString stringWithFormat:@"center %@ receive %@ %@", _name, name, rigDescription(userInfo)]);
        id target = (id)[[handler objectAtIndex:0] pointerValue];
        id reply = [target performSelector:NSSelectorFromString([handler objectAtIndex:1])
                                withObject:name
                                withObject:userInfo];
        if (reply != nil && [[message objectForKey:@"waits"] boolValue]) sendList(connection, reply);
    }
    close(connection);
}

@end
