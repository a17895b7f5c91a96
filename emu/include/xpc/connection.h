#ifndef __XPC_CONNECTION_H__
#define __XPC_CONNECTION_H__

#ifndef __XPC_INDIRECT__
#error "Please #include <xpc/xpc.h> instead of this file directly."
#endif

__BEGIN_DECLS

// The remote service exited; the connection stays usable and the next message
// reaches a new instance. Pending replies get this error.
extern const struct _xpc_dictionary_s _xpc_error_connection_interrupted;
#define XPC_ERROR_CONNECTION_INTERRUPTED XPC_GLOBAL_OBJECT(_xpc_error_connection_interrupted)
// The connection is finished: the service does not exist, it was canceled, or
// the peer went away. Always the last event a connection delivers.
extern const struct _xpc_dictionary_s _xpc_error_connection_invalid;
#define XPC_ERROR_CONNECTION_INVALID XPC_GLOBAL_OBJECT(_xpc_error_connection_invalid)
extern const struct _xpc_dictionary_s _xpc_error_termination_imminent;
#define XPC_ERROR_TERMINATION_IMMINENT XPC_GLOBAL_OBJECT(_xpc_error_termination_imminent)
// A reply came from a peer that does not satisfy the connection's code-signing
// requirement (incoming requests from such a peer are dropped, not reported).
extern const struct _xpc_dictionary_s _xpc_error_peer_code_signing_requirement;
#define XPC_ERROR_PEER_CODE_SIGNING_REQUIREMENT XPC_GLOBAL_OBJECT(_xpc_error_peer_code_signing_requirement)

#define XPC_CONNECTION_MACH_SERVICE_LISTENER (1 << 0)
#define XPC_CONNECTION_MACH_SERVICE_PRIVILEGED (1 << 1)

// A listener (XPC_CONNECTION_MACH_SERVICE_LISTENER) is NULL when another live
// process already listens for `name`. Events go to `targetq`, or to a private
// serial queue when it is NULL.
XPC_WARN_RESULT xpc_connection_t xpc_connection_create_mach_service(const char *name, dispatch_queue_t targetq,
                                                                    uint64_t flags);
void xpc_connection_set_event_handler(xpc_connection_t connection, xpc_handler_t handler);
// Before the connection is activated: where its events are delivered.
void xpc_connection_set_target_queue(xpc_connection_t connection, dispatch_queue_t targetq);
void xpc_connection_activate(xpc_connection_t connection);
void xpc_connection_suspend(xpc_connection_t connection);
void xpc_connection_resume(xpc_connection_t connection);
void xpc_connection_cancel(xpc_connection_t connection);
// Safe to call from several queues at once; messages arrive in the order sent.
void xpc_connection_send_message(xpc_connection_t connection, xpc_object_t message);
void xpc_connection_send_message_with_reply(xpc_connection_t connection, xpc_object_t message,
                                            dispatch_queue_t replyq, xpc_handler_t handler);
// The reply, or an error object; the caller releases it.
XPC_WARN_RESULT xpc_object_t xpc_connection_send_message_with_reply_sync(xpc_connection_t connection,
                                                                         xpc_object_t message);
const char *xpc_connection_get_name(xpc_connection_t connection);
XPC_WARN_RESULT pid_t xpc_connection_get_pid(xpc_connection_t connection);
XPC_WARN_RESULT uid_t xpc_connection_get_euid(xpc_connection_t connection);
// Every message must come from a peer that satisfies `requirement` (code-signing
// requirement language), checked by the kernel's identity of the peer; a
// listener's requirement applies to every peer it accepts. Non-zero when the
// requirement cannot be read. Once per connection.
XPC_WARN_RESULT int xpc_connection_set_peer_code_signing_requirement(xpc_connection_t connection,
                                                                    const char *requirement);

__END_DECLS

#endif
