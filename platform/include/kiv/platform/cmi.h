/*
 * cmi.h - a request to a service and its answer, in one call.
 *
 * A service is a service access point of kiv/platform/ovra.h, whose framing,
 * bounds and identity hold here too; a server receives the requests with
 * ovra_recv and answers with ovra_answer, whose status is the result here.
 *
 *   uint32_t length = sizeof(question);
 *   void *reply = NULL;
 *   int status = cmi_req_resp(916, CMI_MODE_CHANGE, &question, &reply, &length,
 *                             "", "", 37, client, 10);
 *   if (status == 0 && length >= sizeof(struct answer))
 *       use(reply);
 *   free(reply);
 *
 * The connection to a service is kept for the next request of the same thread,
 * and closed after a failure. A child of fork (POSIX) makes its own. A thread
 * that may be in one of these functions must not be cancelled (pthread_cancel,
 * POSIX). Handlers of exit may call them.
 */
#ifndef KIV_PLATFORM_CMI_H
#define KIV_PLATFORM_CMI_H

#include <kiv/platform/platform.h>

KIV_PLATFORM_BEGIN

#define CMI_MODE_QUERY 1  /* no request payload */
#define CMI_MODE_CHANGE 3 /* with a request payload */

/* Sends a request to the service of this node and waits for its answer, `timeout` seconds in all,
 * which is above 0.
 *   opcode, mode   travel as they are
 *   request        the payload of *length bytes; null: none, whatever *length is
 *   response       gets the payload of the answer, on the heap, freed by the caller, null when it
 *                  has none; null: not wanted. Null on failure
 *   length         in: bytes of the request; out: bytes of the answer, 0 on failure
 *   text1, text2   travel as they are; null is empty
 *   client         the caller's identity, as it says itself
 * Returns the status of the answer, with errno 0: a status of -1 comes from the service then, and
 * the response is the caller's. Or -1 with another errno: EPIPE when the service is not there, or
 * goes away before it answers; ETIME; EMSGSIZE; EINVAL for a time-out that is not above 0; EPROTO;
 * ENOMEM and others as for the system calls (POSIX). Only answers to this request count: anything
 * else from the service is passed over. A request that could not be delivered because the service
 * was restarted is sent once more; a delivered one never. */
KIV_PLATFORM_API int cmi_req_resp(uint32_t opcode, int32_t mode, const void *request,
                                  void **response, uint32_t *length, const char *text1,
                                  const char *text2, uint32_t service, uint32_t client,
                                  int32_t timeout) KIV_PLATFORM_NOEXCEPT;

/* The same to a service of another node, which stands where the client does above; the client
 * follows the time-out. `flags` is 0. */
KIV_PLATFORM_API int cmi_remote_req_resp(uint32_t opcode, int32_t mode, const void *request,
                                         void **response, uint32_t *length, const char *text1,
                                         const char *text2, uint32_t service, uint32_t node,
                                         int32_t timeout, uint32_t client,
                                         uint32_t flags) KIV_PLATFORM_NOEXCEPT;

KIV_PLATFORM_END

#endif
