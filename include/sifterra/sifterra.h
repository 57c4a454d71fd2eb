/* sifterra.h: the C interface of Sifterra.
 *
 * Conventions, valid for every function below:
 *
 *  1. A WFStringRef, WFURLRef or WFDataRef is a reference to an immutable, reference-counted object;
 *     NULL is allowed wherever a reference is taken and stands for "none".
 *  2. A function with "Create" in its name gives the caller a reference of its own, to be given back
 *     with WFRelease.
 *  3. Any other reference that a function hands out, as its result or through an out-pointer, is
 *     borrowed: it stays valid until the innermost release scope of the calling thread ends.
 *  4. WFReleaseScopeBegin opens a scope on the calling thread and WFReleaseScopeEnd closes the
 *     innermost one. Scopes nest; both calls of a pair are made on the same thread.
 *  5. A thread with no open scope has one that ends at its next call that hands out a borrowed
 *     reference: what it held is still a good argument of that call and is gone after it. Reading,
 *     retaining and releasing never end it.
 *  6. To keep a borrowed reference longer, WFRetain it, and WFRelease it when done.
 *  7. Text pointers that a getter returns live as long as the object they were read from.
 *  8. Every function may be called from any thread at any time, also the first one of the process.
 *     One object may be used by several threads at once.
 *  9. Boolean answers are signed chars: 1 is yes, 0 is no.
 * 10. No C++ exception leaves a function; failures are NULL, 0 or a documented code, and a log line.
 */
#ifndef SIFTERRA_SIFTERRA_H
#define SIFTERRA_SIFTERRA_H

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#define WF_EXPORT __attribute__((visibility("default")))
#else
#define WF_EXPORT
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Version ---------------------------------------------------------------------------------- */

#define SIFTERRA_VERSION_MAJOR 0
#define SIFTERRA_VERSION_MINOR 1
#define SIFTERRA_VERSION_PATCH 0
#define SIFTERRA_VERSION "0.1.0"

/* The version of the library that is running, e.g. "0.1.0". Lives forever. */
WF_EXPORT const char* WFVersion(void);

/* ---- Handles ---------------------------------------------------------------------------------- */

typedef const struct WFString* WFStringRef;
typedef const struct WFURL* WFURLRef;
typedef const struct WFData* WFDataRef;

/* A string from zero-terminated UTF-8; NULL when text is NULL or not well-formed UTF-8. */
WF_EXPORT WFStringRef WFStringCreateWithUTF8(const char* text);
/* A string from length bytes of UTF-8, zero bytes allowed; NULL when not well formed. */
WF_EXPORT WFStringRef WFStringCreateWithUTF8Bytes(const char* bytes, size_t length);
/* A string from length UTF-16 code units in the machine's byte order, kept as they are. */
WF_EXPORT WFStringRef WFStringCreateWithUTF16(const uint16_t* units, size_t length);
/* The string as zero-terminated UTF-8 (lone surrogates as U+FFFD), NULL for NULL. */
WF_EXPORT const char* WFStringGetUTF8(WFStringRef string);
/* The length of that UTF-8 text in bytes, without the final zero; 0 for NULL. */
WF_EXPORT size_t WFStringGetUTF8Length(WFStringRef string);
/* The length in UTF-16 code units; 0 for NULL. */
WF_EXPORT size_t WFStringGetLength(WFStringRef string);

/* A URL from zero-terminated UTF-8 text; NULL when the text is not an RFC 3986 reference. */
WF_EXPORT WFURLRef WFURLCreateWithUTF8(const char* text);
/* The text of the URL, NULL for NULL. */
WF_EXPORT const char* WFURLGetUTF8(WFURLRef url);
WF_EXPORT size_t WFURLGetUTF8Length(WFURLRef url);

/* A copy of length bytes; bytes may be NULL when length is 0. */
WF_EXPORT WFDataRef WFDataCreate(const void* bytes, size_t length);
WF_EXPORT const void* WFDataGetBytes(WFDataRef data);
WF_EXPORT size_t WFDataGetLength(WFDataRef data);

/* One reference more, or one less, on any object of the three kinds. NULL is left alone. */
WF_EXPORT const void* WFRetain(const void* object);
WF_EXPORT void WFRelease(const void* object);

/* ---- Release scopes (conventions 3 to 6) ------------------------------------------------------- */

WF_EXPORT void WFReleaseScopeBegin(void);
WF_EXPORT void WFReleaseScopeEnd(void);

/* ---- Content query ----------------------------------------------------------------------------- */

/* Whether the default judge restricts the page. content: the page's HTML, may be NULL. url: the
 * page's address. *title (may be NULL): receives the page's title, untouched when content is NULL or
 * there is no judge. *message (may be NULL): receives the score line of a classified page, else the reason;
 * NULL when there is no judge. Both borrowed. */
WF_EXPORT signed char WFIsWebPageExplicit(WFStringRef content, WFStringRef url, WFStringRef* title,
                                          WFStringRef* message);

/* The same for a page's bytes, which must be UTF-8 to be judged (see WFDecodePage for others). 0 for
 * a scheme other than http or https, and then nothing is stored. *message: required. */
WF_EXPORT signed char WFIsURLExplicit(WFURLRef url, WFDataRef data, WFStringRef* title, WFStringRef* message);

/* The page's text from its bytes, safe to judge: decoded by byte-order mark, then charset (the one of
 * the HTTP header, may be NULL), then the page's own declaration, then by what the bytes look like;
 * malformed bytes become U+FFFD and markup that would stall or blind a parser is tamed. Styles, comments and
 * attributes that judging does not read are left out: for judging, not for showing. Borrowed;
 * NULL for NULL. */
WF_EXPORT WFStringRef WFDecodePage(WFDataRef data, WFStringRef charset);

/* The signature word that marks category 1 in filter and training texts. Writable: replace it before
 * other threads judge, with a string that stays retained for as long as it stands here. */
WF_EXPORT extern WFStringRef WFWebPageToTrainingText_Category1;

/* The width, height or area of an image that does not tell it: -1. */
WF_EXPORT extern const int64_t kWFImgDimensionUnknown;

/* ---- Per-user query ---------------------------------------------------------------------------- */

/* Whether the page is to be withheld from a user, by the user's lists and switches and, where those leave it
 * open, by its content. user: the short name. The rest as for WFIsWebPageExplicit, but *title is stored also
 * when content is NULL (as NULL). A user without preferences is not restricted by lists. */
WF_EXPORT signed char WFIsWebPageToRestrictForUser(WFStringRef user, WFStringRef content, WFStringRef url,
                                                   WFStringRef* title, WFStringRef* message);

/* The same for a page's bytes, as WFIsURLExplicit takes them. 0 for a scheme other than http or https, and
 * then nothing is stored. *message: required. */
WF_EXPORT signed char WFIsURLToRestrictForUser(WFStringRef user, WFURLRef url, WFDataRef data,
                                               WFStringRef* title, WFStringRef* message);

/* How things stand with a user's preference file. */
typedef enum WFPreferenceState {
  WFPreferenceStateAbsent = 0, /* there is no file: the user is not restricted */
  WFPreferenceStateRead = 1,   /* there is one, and it is in force */
  WFPreferenceStateBroken = 2  /* there is something that cannot be read, or the name makes no path */
} WFPreferenceState;

/* The queries above take a broken file for an absent one and let everything pass that the file may have been
 * meant to withhold. A program that must fail closed asks here before it believes a 0. *reason (may be NULL):
 * receives, in words, why the state is "broken"; NULL for the others. Borrowed. */
WF_EXPORT WFPreferenceState WFGetPreferenceStateForUser(WFStringRef user, WFStringRef* reason);

/* ---- Streaming ---------------------------------------------------------------------------------- */

/* Decides about one response while it arrives: holds the body back until 32768 bytes are there or it is
 * complete, judges those, and hands back either all of it or the page to show instead. How the body is cut
 * into chunks changes nothing. Used by one thread at a time. */
typedef struct WebFilterEvaluatorObject* WebFilterEvaluatorRef;

typedef enum WebFilterState {
  WebFilterStateAllowed = 0,   /* judged; the body has been handed back */
  WebFilterStateBlocked = 1,   /* judged; a block page has been handed back, if one could be made */
  WebFilterStateBuffering = 2, /* more data is wanted */
  WebFilterStateEvaluating = 3 /* the judgement is under way */
} WebFilterState;

/* Whether web restrictions are in force for the user whose process this is. */
WF_EXPORT signed char WebFilterEvaluatorIsManagedSession(void);

/* An evaluator for a response from the URL, or NULL when no restrictions are in force: the page is then
 * loaded unfiltered. The first one of the process calls ThornwickTurnOnHTTPSFiltering. */
WF_EXPORT WebFilterEvaluatorRef WebFilterEvaluatorCreateWithResponse(WFURLRef url);
/* The same for a named user, for services that load pages on behalf of others; the filter's control is left
 * alone. NULL also when the user's preferences are broken: see WFGetPreferenceStateForUser. */
WF_EXPORT WebFilterEvaluatorRef WebFilterEvaluatorCreateWithResponseForUser(WFURLRef url, WFStringRef user);

/* What to pass on now: no bytes while more are wanted, then the body or the block page; NULL when the page is
 * refused and no block page can be made, when memory gives out, and for a NULL evaluator: pass nothing on
 * then, neither now nor later, whatever the state. NULL data completes the body. Borrowed. Add nothing more
 * once the state is no longer WebFilterStateBuffering: pass the rest on, or drop it when the page was
 * blocked. */
WF_EXPORT WFDataRef WebFilterEvaluatorAddData(WebFilterEvaluatorRef evaluator, WFDataRef data);
/* The end of the body; only while the state is WebFilterStateBuffering. Borrowed. */
WF_EXPORT WFDataRef WebFilterEvaluatorDataComplete(WebFilterEvaluatorRef evaluator);
/* A WebFilterState; allowed for NULL. */
WF_EXPORT long WebFilterEvaluatorFilterState(WebFilterEvaluatorRef evaluator);
WF_EXPORT signed char WebFilterEvaluatorWasBlocked(WebFilterEvaluatorRef evaluator);
/* Ends it, whatever its state. NULL is left alone. */
WF_EXPORT void WebFilterEvaluatorRelease(WebFilterEvaluatorRef evaluator);

/* ---- Base64 (RFC 4648, "=" padding, no line breaks) ---------------------------------------------- */

/* The base64 of the string's UTF-8 bytes, as one line; NULL for NULL and for text that UTF-8 cannot spell (a
 * lone surrogate). Borrowed. */
WF_EXPORT WFStringRef NS64BaseStringFromString(WFStringRef string);

/* The bytes that the text spells; NULL for NULL and for what is not base64: white space, foreign characters
 * and missing padding are refused. The flag is accepted and changes nothing. Borrowed. */
WF_EXPORT WFDataRef DecodeBase64WithNewlines(WFStringRef string, signed char withNewlines);
WF_EXPORT WFDataRef DecodeBase64(WFStringRef string);

/* The same bytes as text; NULL also when they are not UTF-8. Borrowed. */
WF_EXPORT WFStringRef NSStringFrom64BaseString(WFStringRef string);

/* ---- The filter's control ------------------------------------------------------------------------ */

/* Each opens a connection to the web-content filter, makes one option call and closes it again. On Linux the
 * filter is a service (docs/kernel-control.md), and who may set what is its decision; none waits longer for
 * it than six seconds, ThornwickSetProxyToLocalPort twelve. Failures are printed, to standard output and
 * standard error. Results: 0 success, 1 failure, 2 from a getter whose pointer is NULL. */

/* Socket addresses as the control takes them: not those of the host's <netinet/in.h>. */
typedef struct ThornwickIPv4Address {
  uint8_t length; /* 16; as many bytes are sent */
  uint8_t family; /* 2 */
  uint16_t port;  /* network byte order, like the address */
  uint32_t address;
  uint8_t zero[8];
} ThornwickIPv4Address;
typedef struct ThornwickIPv6Address {
  uint8_t length; /* 28; as many bytes are sent */
  uint8_t family; /* 30 */
  uint16_t port;  /* network byte order */
  uint32_t flowInformation;
  uint8_t address[16];
  uint32_t scope;
} ThornwickIPv6Address;

/* Whether the filter answers. On success the connection stays open for the life of the process. */
WF_EXPORT int ThornwickOpenControlSocket(void);
/* The user for whom the filter acts. *uid is 0 when the filter refuses to tell. */
WF_EXPORT int ThornwickSetManagedUser(uint32_t uid);
WF_EXPORT int ThornwickGetManagedUser(uint32_t* uid);
/* Where the filter sends connections. Setters: 1 for NULL; an address that the filter refuses is printed and
 * not reported. */
WF_EXPORT int ThornwickSetIPv4Proxy(const ThornwickIPv4Address* address);
WF_EXPORT int ThornwickSetIPv6Proxy(const ThornwickIPv6Address* address);
WF_EXPORT int ThornwickGetIPv4Proxy(ThornwickIPv4Address* address);
WF_EXPORT int ThornwickGetIPv6Proxy(ThornwickIPv6Address* address);
/* Both: 127.0.0.1 and the unspecified IPv6 address, with the low 16 bits of the port. The sum of the two
 * setters' results. */
WF_EXPORT int ThornwickSetProxyToLocalPort(int32_t port);
/* From now on secure connections are filtered too. */
WF_EXPORT int ThornwickTurnOnHTTPSFiltering(void);
/* The filter writes down its state. 0 also when it refuses. */
WF_EXPORT int ThornwickDebugPrint(void);

/* ---- Diagnostics ------------------------------------------------------------------------------- */

typedef struct WFLog* WFLogRef;

/* The logger of a category, the default log for NULL or when too many categories are in use. Lives
 * forever; the same category gives the same logger. */
WF_EXPORT WFLogRef OSLogForCategory(const char* category);

/* Levels of the log, lowest first. WFLogLevelOff is for WFSetLogLevel, which then lets nothing be written; a
 * line has one of the others, and a level outside them counts as the nearest. */
enum {
  WFLogLevelDebug = 0,
  WFLogLevelInfo = 1,
  WFLogLevelDefault = 2,
  WFLogLevelError = 3,
  WFLogLevelOff = 4
};

/* Whether a line of this level would be written, and writing one (text is static or the caller's). */
WF_EXPORT signed char WFLogEnabled(WFLogRef log, int level);
WF_EXPORT void WFLogWrite(WFLogRef log, int level, const char* text);
/* For the host program: the lowest level that is written (default WFLogLevelDefault), and whether
 * values that are not public are shown (default no). */
WF_EXPORT void WFSetLogLevel(int level);
WF_EXPORT void WFSetLogPrivateData(signed char shown);

/* The page (its bytes), with a block on top that tells the verdict, a message, the text that the filter read
 * and the scores of its words. The block comes from a template file, see docs/debug-page.md; without one, or
 * without a body tag, the page comes back alone. A NULL text leaves its place in the template as it is. At
 * debug level 2 nothing of a restricted page is loaded: each src is spelt OFF. NULL for NULL. Borrowed. For
 * those who tune the filter: nothing is escaped, so show it in a browser that has nothing to lose. */
WF_EXPORT WFStringRef ComposeDebugPage(WFDataRef page, WFURLRef url, WFStringRef strippedPage,
                                       WFStringRef wordDump, WFStringRef debugMessage,
                                       signed char restricted);
/* The same with text and scores of its own, which takes UTF-8 pages, and always as a restricted page. Loads
 * the map each time and takes the word dump's files in /tmp, one call at a time. The result is UTF-8.
 * Borrowed. */
WF_EXPORT WFDataRef ComposeDebugPageSimple(WFDataRef page, WFURLRef url, WFStringRef debugMessage);

/* The process-wide debug level, 0 at first; only the debug page reads it. */
WF_EXPORT int32_t WFDebugLevel(void);
WF_EXPORT void WFSetDebugLevel(int32_t level);

/* ---- Host program ------------------------------------------------------------------------------ */

/* The directory below which the fixed system paths are looked up ("" or NULL: the real root). Call it
 * before anything else; the library itself never reads it from the environment. */
WF_EXPORT void WFSetFileSystemRoot(const char* directory);

/* Whether the names of numeric hosts are looked up (1, the default) or such a host stands for itself (0).
 * Site lists compare by name: "http://192.0.2.7/" falls under an entry for "example.com" when the name
 * service says that this address is called so. Whoever owns an address decides about its name, so services
 * that judge strangers' addresses switch this off before they judge. While it is on, a lookup waits 2
 * seconds at most, and all of the process together 10 seconds per minute. */
WF_EXPORT void WFSetNameLookups(signed char on);

#ifdef __cplusplus
}
#endif

#endif
