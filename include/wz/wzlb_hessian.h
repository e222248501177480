/* Hessian 1 and 2 to XML and back. The XML form is written down in docs/hessian-xml.md.
 *
 * The version, the output buffer and the sink are the process's own and are not locked: one message
 * at a time, in one thread.
 */
#ifndef WZLB_HESSIAN_H
#define WZLB_HESSIAN_H

#include <stdint.h>
#include <wz/wz_base.h>

WZ_BEGIN_DECLS

struct _xmlNode; /* xmlNode of libxml2 */

/** Version that wz_hessian_to_xml and hessian_encode work in: 1 (initially) or 2. */
WZ_API extern int hessian_version;
/** The text of the last wz_hessian_to_xml, NUL-terminated; null before the first call. The library
 * keeps the buffer and overwrites it at the next call. */
WZ_API extern char *hessian_asc_ptr;

/** Bytes of the buffer at `hessian_asc_ptr`. */
#define WZLB_HESSIAN_BUFFER_SIZE 0x800000

/** Sets `hessian_version`. Any other number than 1 and 2 makes decoding fail and encoding give
 * nothing. */
WZ_API void hessian_set_version(int version);

/**
 * Decodes a message into the buffer at `hessian_asc_ptr`. Text that does not fit is dropped without
 * notice.
 *
 * A message that cannot be decoded leaves the text so far, followed by a line with the position,
 * and the whole input as hexadecimal digits where there is room for it.
 *
 * @param in      The message.
 * @param length  Its length in bytes; after a failure the position where decoding stopped.
 * @return        Length of the text in bytes.
 */
WZ_API int wz_hessian_to_xml(char *in, int *length);

/**
 * Decodes a Hessian 1 message.
 *
 * Deliberate: each chunk of a string, of XML or of binary data opens an element of its own, data is
 * copied as it is up to its first zero byte, and a remote is not closed by its type. Scripts search
 * this text, so it stays as it is; version 2 has none of this.
 *
 * @param out_type  Capacity of `out` in bytes; 0 when `out` is an open FILE.
 * @param out       Buffer or FILE, the caller's. It stays where hessian_append_to_xml appends until
 *                  the next decoding.
 * @param indent    Without effect.
 * @param in        The message.
 * @param length    Its length in bytes; after a failure the position where decoding stopped.
 * @return          `in`; null when the message cannot be decoded.
 */
WZ_API char *hessian_decode(int out_type, void *out, int indent, char *in, int *length);
/** The same for Hessian 2: the final protocol, calls and replies in Hessian 1 frames, and the older
 * draft where it can be told apart. */
WZ_API char *hessian2_decode(int out_type, void *out, int indent, char *in, int *length);

/** Appends formatted text where the last decoding wrote to; at most 40959 bytes of it. */
WZ_API void hessian_append_to_xml(char *format, ...) WZ_PRINTF(1, 2);

/**
 * Encodes an XML document of the form that decoding gives, in `hessian_version`. Unknown elements
 * write nothing themselves, their children are encoded; numbers that do not parse give 0. Documents
 * that declare entities or attributes are refused.
 *
 * @param src_type   Not 0: `src_ptr` is the text, of `src_param` bytes. 0: it is a file name.
 * @param out        Room for the encoding: twice the document is enough; nothing is checked.
 * @param len        Set to the number of bytes written.
 * @return           `out`; null when the text is no XML, when its root is not "hessian" and, in
 *                   version 2, when the elements do not make a message (a map without the value of
 *                   a key, a reference to nothing).
 */
WZ_API char *hessian_encode(int src_type, void *src_ptr, int src_param, char *out, int *len);

/**
 * Encodes `a_node`, its siblings behind it and their children as Hessian 1.
 *
 * Deliberate: a map, call or reply gets its end byte from the next node of its level, blank text
 * included, and so does every node after it; a "ref" takes the number of the int or length before
 * it. Documents in use are written for this.
 *
 * @param depth   Level of `a_node`; its children are one deeper.
 * @param offset  Where to write in `buf`, moved on.
 */
WZ_API void GetElements(struct _xmlNode *a_node, char *buf, int depth, int *offset);
/** The same as Hessian 2; `*offset` is -1 after a failure. */
WZ_API void GetElements2(struct _xmlNode *a_node, char *buf, int depth, int *offset);

/* Writers of Hessian 1 at a position of the caller's buffer. All return the number of bytes. */

/** 'I' and the value; with `flag` not 0 the four value bytes only. */
WZ_API int write_integer(char *call, int value, int flag);
/** 'L' and the value; with `flag` not 0 the eight value bytes only. */
WZ_API int write_long64(char *call, int64_t value, int flag);
/** 'D' and the eight bytes of the IEEE 754 double. */
WZ_API int write_double(char *call, double value);
/** 'd' and the milliseconds since 1970, UTC. */
WZ_API int write_date(char *call, int64_t value);
/** 'S', the length in two bytes and the text, cut at 65535 bytes; null is empty. With `flag` not 0
 * without the 'S'. */
WZ_API int write_string(char *call, const char *value, int flag);
/** 'c', one byte. */
WZ_API void hessian_make_call(char *call);
/** 'r', one byte. */
WZ_API void hessian_make_reply(char *reply);
/** The two version bytes. */
WZ_API int hessian_make_ver(int major, int minor, char *buf);
/** 'm', the length in two bytes and the name, cut at 65535 bytes. */
WZ_API int hessian_make_method(const char *method, char *buff);
/** 'z'. */
WZ_API int hessian_complete(char *call);

WZ_END_DECLS

#endif
