// Binder objects, their classes, strong and weak references, and death notification, as the
// binder NDK declares them.
//
// On a host every binder is the binder of a service object in this process; clients see it as
// a remote one. It lives while it has strong references and dies when its service is killed
// (host/binder_control.h): then it stays a valid object, but AIBinder_isAlive is false, calls
// through it fail with STATUS_DEAD_OBJECT, and every death recipient linked to it is called
// once with its cookie on a thread of the binder runtime.
#pragma once

#include <android/binder_status.h>
#include <stdint.h>
#include <sys/cdefs.h>

__BEGIN_DECLS

typedef uint32_t transaction_code_t;
typedef uint32_t binder_flags_t;

enum {
    FIRST_CALL_TRANSACTION = 0x00000001,
    LAST_CALL_TRANSACTION = 0x00ffffff,
};
enum {
    FLAG_ONEWAY = 0x01,
};

struct AIBinder;
typedef struct AIBinder AIBinder;
struct AIBinder_Class;
typedef struct AIBinder_Class AIBinder_Class;
struct AIBinder_Weak;
typedef struct AIBinder_Weak AIBinder_Weak;
struct AIBinder_DeathRecipient;
typedef struct AIBinder_DeathRecipient AIBinder_DeathRecipient;
// Calls go straight to the service object on a host; parcels exist only as a type.
struct AParcel;
typedef struct AParcel AParcel;

typedef void* (*AIBinder_Class_onCreate)(void* args);
typedef void (*AIBinder_Class_onDestroy)(void* userData);
typedef binder_status_t (*AIBinder_Class_onTransact)(AIBinder* binder, transaction_code_t code,
                                                     const AParcel* in, AParcel* out);

// The class lives for the rest of the process.
AIBinder_Class* AIBinder_Class_define(const char* interfaceDescriptor,
                                      AIBinder_Class_onCreate onCreate,
                                      AIBinder_Class_onDestroy onDestroy,
                                      AIBinder_Class_onTransact onTransact);
const char* AIBinder_Class_getDescriptor(const AIBinder_Class* clazz);

// A new binder with one strong reference; its user data is onCreate(args), handed to
// onDestroy when the last strong reference goes.
AIBinder* AIBinder_new(const AIBinder_Class* clazz, void* args);
bool AIBinder_isRemote(const AIBinder* binder);
bool AIBinder_isAlive(const AIBinder* binder);
binder_status_t AIBinder_ping(AIBinder* binder);
// True when the binder is of this class (same descriptor).
bool AIBinder_associateClass(AIBinder* binder, const AIBinder_Class* clazz);
const AIBinder_Class* AIBinder_getClass(AIBinder* binder);
void* AIBinder_getUserData(AIBinder* binder);

void AIBinder_incStrong(AIBinder* binder);
void AIBinder_decStrong(AIBinder* binder);
// The number of strong references, or -1 for a null binder.
int32_t AIBinder_debugGetRefCount(AIBinder* binder);

AIBinder_Weak* AIBinder_Weak_new(AIBinder* binder);
void AIBinder_Weak_delete(AIBinder_Weak* weakBinder);
// A new strong reference, or null when the binder is gone.
AIBinder* AIBinder_Weak_promote(AIBinder_Weak* weakBinder);

typedef void (*AIBinder_DeathRecipient_onBinderDied)(void* cookie);
typedef void (*AIBinder_DeathRecipient_onBinderUnlinked)(void* cookie);

AIBinder_DeathRecipient* AIBinder_DeathRecipient_new(
    AIBinder_DeathRecipient_onBinderDied onBinderDied);
// Called once for every link when it ends: after the death notice, on unlink, or when the
// recipient is deleted.
void AIBinder_DeathRecipient_setOnUnlinked(AIBinder_DeathRecipient* recipient,
                                           AIBinder_DeathRecipient_onBinderUnlinked onUnlinked);
// Unlinks the recipient from every binder; a notice not yet delivered is dropped. May be
// called from the recipient's own onBinderDied.
void AIBinder_DeathRecipient_delete(AIBinder_DeathRecipient* recipient);

// STATUS_DEAD_OBJECT when the binder is already dead, STATUS_UNEXPECTED_NULL for a null
// binder or recipient.
binder_status_t AIBinder_linkToDeath(AIBinder* binder, AIBinder_DeathRecipient* recipient,
                                     void* cookie);
// STATUS_NAME_NOT_FOUND when this recipient and cookie are not linked to the binder.
binder_status_t AIBinder_unlinkToDeath(AIBinder* binder, AIBinder_DeathRecipient* recipient,
                                       void* cookie);

__END_DECLS
