/**
 * @file wz_script.h
 * Everything a service script may call: the manual of script authors.
 *
 * A script is a C file beside its service's declarations. It defines any of two functions, which
 * the daemon calls at their point of a request's life:
 *
 *     void post_recv(void);   the request is read and the declared variables are filled
 *     void pre_send(void);    the response is chosen, its body not yet evaluated
 *
 * A whole script, for a service that declares the search variable `order_id`, the scratch variable
 * `greeting` and the scratch array `lines` of 3 elements:
 *
 *     #include <wz/wz_script.h>
 *     #include <string.h>
 *
 *     void post_recv(void)
 *     {
 *       char customer[256];                          // value of ?customer=... in the URL
 *       char *agent = wz_get_http_hdr("User-Agent");  // " curl/7.88.1", or null
 *
 *       if (wz_get_url_query_param_val("customer", customer, WZ_FLAG_URL_DECODE) != 0)
 *         strcpy(customer, "nobody");
 *       wz_save_string(customer, "greeting");
 *       wz_save_string(wz_eval_string("Order {order_id} of {greeting}"), "greeting");
 *       if (agent)
 *         wz_save_string(agent, "lines_1");          // first element of the array
 *     }
 *
 *     void pre_send(void)
 *     {
 *       wz_set_http_hdr(wz_eval_string("X-Lines: {lines_count}"));
 *       if (wz_get_int_val("order_id") > 1000)
 *         wz_set_http_status_code(202);
 *     }
 *
 * Conventions, stated once and true of every function unless it says otherwise:
 *
 * - Names and texts are NUL-terminated. A null one is harmless: getters return null, the others
 *   their failure code. Texts are never written to, although the prototypes take `char *`.
 * - Lengths are bytes and leave the terminating NUL out. Buffers that a call fills must have room
 *   for the NUL.
 * - Results are 0 for success and -1 for failure where a function returns a code.
 * - What you pass in is copied before the call returns. What you get back is borrowed: it lies in a
 *   buffer that the library uses again (each function says until when it is valid), so copy it,
 *   or save it into a variable, to keep it. Free nothing that a function here does not tell you to.
 * - All calls work on the request being served. Outside of a request, or for a request that matched
 *   no service, nothing resolves: templates come back as they are, saving fails, getters return
 *   null.
 * - One request at a time runs script code in a process; call these functions from the thread that
 *   runs the script, never from one of your own.
 * - What goes wrong is told in the host's debug log (every call traces there too) and, where a
 *   function says so, on standard error, standard output or in the host's error log.
 */
#ifndef WZ_SCRIPT_H
#define WZ_SCRIPT_H

#include <wz/wz_base.h>
#include <wz/wz_database.h>
#include <wz/wz_ids.h>
#include <wz/wz_request_buffer.h>
#include <wz/wz_rsa.h>
#include <wz/wzlb_crypt.h>
#include <wz/wzlb_encode_decode.h>
#include <wz/wzlb_search_vars.h>
#include <wz/wzlb_user_var.h>
#include <wz/wzlb_util.h>

WZ_BEGIN_DECLS

/* Argument kinds of wz_save_searched_string. */
#define WZ_ARG_IS_BUF 0
#define WZ_ARG_IS_PARAM 1

/* Encoding flags: what happens to a value on its way. Other numbers mean WZ_FLAG_NONE. */
#define WZ_FLAG_NONE 0       /**< the value as it is */
#define WZ_FLAG_URL_ENCODE 1 /**< percent-escaped: "a b&c" becomes "a%20b%26c" */
#define WZ_FLAG_URL_DECODE 2 /**< percent-escapes resolved; a decoded NUL ends the value */

/* ---- templates ----
 *
 * A template is text in which {name} stands for the current value of a variable of the service:
 *
 *     {name}        the value; of an array, its first element
 *     {name_N}      element N of an array, from 1
 *     {name_count}  number of elements of an array, nothing for an empty one; of other variables 1
 *                   when they have a value and 0 when not
 *     {today,%d.%m.%Y,+3}
 *                   a date variable may be followed by a format, and by a day offset, of its own
 *
 * The name ends at a comma, a blank, a tab or the first `}`; what follows it inside the braces is
 * dropped, except for dates. A reference that is no variable (also {name_0}, an element that the
 * array does not have, and `{` without `}`) is copied as it stands. Braces do not nest and there is
 * no escape for `{`. Names have at most 1023 characters. A variable named `total_count` wins over
 * the count of `total`.
 */

/**
 * Expands a template.
 *
 * @param string  The template; null counts as empty. It may be the result of an earlier call.
 * @param flag    Encoding flag, applied to each substituted value, never to the template's own
 *                text.
 * @return        The expansion, NUL-terminated (values may hold NULs of their own); never null. It
 *                lies in the library's evaluation buffer: valid until the next call of any function
 *                that expands a template (this one, its short forms, the wz_get_..._val readers,
 *                saving to a global index variable). The buffer grows in steps of 1024 bytes; when
 *                it cannot, the piece that did not fit is missing.
 *
 * An element beyond the array prints "Invalid index of the variable. Index = N, Count = M" on
 * standard error.
 */
WZ_API char *wz_eval_string_ex(char *string, int flag);

/** wz_eval_string_ex with WZ_FLAG_NONE. */
WZ_API char *wz_eval_string(char *string);

/**
 * Expands a template into a buffer of your own.
 *
 * @param string  The template.
 * @param buff    At least 4097 bytes. Gets at most 4096 characters of the expansion; the rest of
 *                the 4097 bytes is set to NUL. A longer expansion is cut.
 * @return        `buff`; null when it is null.
 */
WZ_API char *wz_eval_string_buf(char *string, char *buff);

/**
 * Takes an array reference apart: `name_N` or `name_count`, split at the last underscore.
 *
 * @param var_start   The name; it need not be NUL-terminated.
 * @param var_end     Its end; the length decides.
 * @param var_length  Its length.
 * @param array_idx   Out, set only on success: N (0 for `name_0`, which is no element), -1 for
 *                    `count`. May be null.
 * @return            The hash code of the base variable; -1 when it is no variable, is of a kind
 *                    that cannot be an array, or has no such suffix. For arrays only the lower-case
 *                    `count` counts, for other variables any case of it and no number.
 */
WZ_API int is_array_variable(char *var_start, char *var_end, int var_length, int *array_idx);

/**
 * Writes one value into the evaluation buffer.
 *
 * @param value         `len` bytes; null writes nothing.
 * @param len           Bytes of the value; 0 or less writes nothing.
 * @param buf_ptr       Where to write when the buffer need not grow; the value goes `total_copied`
 *                      bytes into the buffer when it does, and for null.
 * @param flag          Encoding flag.
 * @param total_copied  Bytes already in the buffer.
 * @return              Bytes written: less than `len` after decoding, 0 when there was no room.
 */
WZ_API int apply_encode_decode(char *value, int len, char *buf_ptr, int flag, int total_copied);

/**
 * Percent-escapes bytes for a URL.
 *
 * @param string    The bytes.
 * @param inlength  Their number; 0 means up to the NUL.
 * @return          A new text, to be freed with wz_encode_decode_url_free; null for a null text or
 *                  a negative length.
 */
WZ_API char *wz_encode_url(const char *string, int inlength);
/** Resolves percent-escapes; arguments and result as in wz_encode_url. */
WZ_API char *wz_decode_url(const char *string, int length);
/** Frees a result of wz_encode_url or wz_decode_url; null is ignored. */
WZ_API void wz_encode_decode_url_free(char *ptr);

/**
 * Grows the evaluation buffer by exactly 1024 bytes; its contents stay, its address may change.
 *
 * @return  0; -1 when the buffer could not grow: messages on standard error, and the capacity
 *          counts as 0 until it grows again. Without memory for the first 1024 bytes the process
 *          ends.
 */
WZ_API int increase_string_buf(void);

/**
 * Makes room in the evaluation buffer for more bytes and a NUL, in steps of 1024 bytes.
 *
 * @param total_copied  Bytes already written.
 * @param copy_length   Bytes to be written.
 * @param buf_ptr       The current write position.
 * @return              Where to write: `buf_ptr` when the room was there, the new position when the
 *                      buffer grew, null when it could not.
 */
WZ_API char *check_string_buf(int total_copied, int copy_length, char *buf_ptr);

/**
 * Classifies the suffix of an array reference.
 *
 * @param index_val  The suffix.
 * @return           1 for "count" (in lower case), 0 when every character is a decimal digit (an
 *                   empty text included), -1 for anything else.
 */
WZ_API int valid_array_idx(char *index_val);

/* ---- saving and reading values ----
 *
 * Scripts may save to scratch variables and arrays and to most variables that are filled from the
 * request; dates, index variables and the system variables are read-only. Saving to a scratch
 * variable recomputes every search variable that searches in it before the call returns.
 */

/**
 * Saves a text into a variable.
 *
 * @param param_value  The text; also the evaluation buffer or the variable's own value.
 * @param param_name   The variable: `name`, or `name_N` for element N of an array. The bare name of
 *                     an array means its first element.
 * @return             0 saved; -1 when the name is no variable, the variable is read-only or there
 *                     is no memory (the value is empty then). Saving to an element that the array
 *                     does not have prints "Invalid index of the variable. Index = N, Count = M" on
 *                     standard error and returns 0, deliberately: loops over more values than the
 *                     array holds are no failure of the script.
 */
WZ_API int wz_save_string(const char *param_value, const char *param_name);

/** wz_save_string with an encoding flag. The flag has no effect on array elements. */
WZ_API int wz_save_string_ex(const char *param_value, const char *param_name, int flag);

/**
 * Saves bytes, NULs included, into a variable.
 *
 * @param param_value   `value_length` bytes. Array elements hold texts only: for them the value is
 *                      read up to its first NUL, whatever its length, so it must have one.
 * @param param_name    As in wz_save_string.
 * @param value_length  Number of bytes; a negative one fails, with a message on standard error, and
 *                      leaves the variable without a value.
 * @return              As wz_save_string.
 */
WZ_API int wz_save_binary_val(const char *param_value, const char *param_name, int value_length);

/**
 * What the three functions above are forms of.
 *
 * @param flag             Encoding flag; it applies to `value_length` bytes.
 * @param not_binary_flag  0 keeps the value out of the debug log; nothing else depends on it.
 */
WZ_API int wz_save_var_val(const char *param_value, const char *param_name, int value_length,
                           int flag, int not_binary_flag);

/** Saves a number as decimal text; result as wz_save_string. */
WZ_API int wz_set_int_val(char *var, int val);

/**
 * Reads a variable as a number, as `atoi` does: leading blanks are skipped, the number ends at the
 * first other character, and what is no number (also a name that is no variable) is 0.
 *
 * @param var  The name: `name`, `name_N` or `name_count`; under 4096 characters, without `{`.
 * @return     The number; -1, with a message on standard output, when the name breaks that rule.
 */
WZ_API int wz_get_int_val(char *var);
/** Reads a variable as a floating-point number, as `atof` does; -1.0 for a bad name. */
WZ_API double wz_get_float_val(char *var);
/** The same as wz_get_float_val. */
WZ_API double wz_get_double_val(char *var);

/**
 * Copies a text into a buffer of limited size.
 *
 * @param dest      The buffer; it always ends up NUL-terminated.
 * @param src       The text.
 * @param dest_len  Size of the buffer in bytes, the NUL included.
 * @return          0 copied whole, 1 cut to fit, -1 when `dest_len` is not above 0 (`dest` becomes
 *                  the empty text: it must have a byte even then).
 */
WZ_API int wz_chk_strcpy(char *dest, char *src, int dest_len);

/**
 * Keeps a text with the connection, to be read back at a later point of its life. The connection
 * has two such places of 256 bytes: longer texts are cut to 255 characters, empty ones ignored.
 */
WZ_API void wz_save_value_to_cptr(char *buff);
/** wz_save_value_to_cptr for the second place. */
WZ_API void wz_save_value1_to_cptr(char *buff);
/** The connection's first place: 256 bytes that live as long as the connection. */
WZ_API char *wz_get_value_from_cptr(void);
/** The connection's second place. */
WZ_API char *wz_get_value1_from_cptr(void);

/* ---- search -----------------------------------------------------------------------------------
 */

/**
 * Cuts a value out of a text, between a left and a right boundary:
 *
 *     char id[64];
 *     wz_save_searched_string(WZ_ARG_IS_PARAM, "body", WZ_ARG_IS_BUF, id, "<id>", "</id>", 1, 0,
 * 63); wz_save_searched_string(WZ_ARG_IS_BUF, id, WZ_ARG_IS_PARAM, "suffix", "-", "-", 1, 0, -1);
 *
 * Boundaries are plain text, compared byte for byte. Occurrence N starts behind the N-th left
 * boundary and ends before the first right boundary after it.
 *
 * @param in_type       WZ_ARG_IS_BUF: `in` is the text. WZ_ARG_IS_PARAM: `in` names the variable
 *                      (or array element, `items_2`) that holds it, by at most 125 characters; a
 *                      value's text ends at its first NUL.
 * @param out_type,out  WZ_ARG_IS_BUF: the buffer that receives the value and a NUL; its size is not
 *                      known, so limit `save_len`, or give it the size of the text. It may be `in`.
 *                      WZ_ARG_IS_PARAM: the name of the variable to save to.
 * @param lb,rb         Boundaries, not empty.
 * @param ord           Occurrence from 1, WZ_ORD_ANY, or WZ_ORD_ALL, which counts the occurrences
 *                      and delivers the whole text.
 * @param start_offset  Bytes of the value to skip; below 0 counts as 0.
 * @param save_len      Bytes of the value to deliver at most, counted behind the skipped ones;
 * below 0 is no limit. Neither applies to the text of WZ_ORD_ALL.
 * @return              The number of values found: 1, or the count for WZ_ORD_ALL.
 *                      0 when `out` is empty afterwards: an empty value was copied to a buffer.
 *                      -1 when nothing was found; the empty text is delivered (the whole text for
 *                      WZ_ORD_ALL). WZ_ORD_ANY into a buffer returns 0 then.
 *                      -3 when an argument was refused, with a message on standard error: an
 *                      unknown kind or a null for the input, empty boundaries, another ordinal; or,
 *                      without one, a null `out`. An unknown output kind gives a message, nothing
 *                      is delivered, and the result is as above.
 */
WZ_API int wz_save_searched_string(int in_type, char *in, int out_type, char *out, char *lb,
                                   char *rb, int ord, int start_offset, int save_len);

/* ---- request ---- */

/**
 * The URL of the request, as the client sent it.
 *
 * @return  Valid while post_recv runs; null at other times, with a line in the host's error log.
 */
WZ_API char *wz_get_url(void);

/**
 * Reads a query parameter of the request's URL: get_url_query_param_val with the current URL.
 */
WZ_API int wz_get_url_query_param_val(char *param_name, char *param_value, int flag);

/**
 * Reads a query parameter out of a URL.
 *
 * @param param_name   The parameter. The first of `?name=`, `&name=` and `name=` that occurs
 *                     anywhere wins, so as a last resort a parameter whose name ends in this one
 *                     answers for it, deliberately.
 * @param param_value  Out: the value, up to the next `&` or the end of the URL; empty when there is
 *                     none. As large as the URL at least, and three times that with
 *                     WZ_FLAG_URL_ENCODE.
 * @param url          The URL; null has no parameters.
 * @param flag         Encoding flag.
 * @return             0 found, -1 not found.
 */
WZ_API int get_url_query_param_val(char *param_name, char *param_value, char *url, int flag);

/**
 * Reads a header of the request.
 *
 * @param header_name  Its name, compared byte for byte with what the client sent, up to 509
 *                     characters.
 * @return             Its value from just behind the colon, the leading blank included, to the end
 *                     of the line, at most 1023 characters; null when the request has no such
 *                     header. Valid until the next call of this function.
 */
WZ_API char *wz_get_http_hdr(char *header_name);

/** 1 if the request has an If-Modified-Since header, else 0. */
WZ_API int wz_http_req_has_validator_ims(void);
/** 1 if the request has an If-None-Match header, else 0. */
WZ_API int wz_http_req_has_validator_if_none_match(void);

/**
 * The request as it was received: request line, headers and body, without a transfer coding.
 *
 *     int left;
 *     RequestBuffer *block = wz_get_request_buf(&left);
 *     for (; block; block = block->next, left -= VSD_REQUEST_BLOCK_SIZE)
 *       use(block->buffer, left < VSD_REQUEST_BLOCK_SIZE ? left : VSD_REQUEST_BLOCK_SIZE);
 *
 * @param size  Out: the request's length in bytes, 0 when there is none. May be null.
 * @return      The first of its blocks; null when there is none, also after wz_free_request_buf.
 *              Valid until the response is sent.
 */
WZ_API RequestBuffer *wz_get_request_buf(int *size);

/** Gives the received request back early, headers and data; a service of type 3 keeps its data.
 * Variables that were filled from the request stay. */
WZ_API void wz_free_request_buf(void);

/**
 * Numbers requests by a key: 0, 1, 2, ... for each.
 *
 * @param hashTableID  Not used: there is one table, in each worker process.
 * @param value        The key.
 * @param resetNo      A number that has reached this starts again from 0, so 3 gives 0, 1, 2, 0;
 *                     with 0 it never does, because only an exact match counts, deliberately.
 * @return             The key's number; -1 for a null key.
 */
WZ_API int wz_get_req_seq_number(char *hashTableID, char *value, int resetNo);

/**
 * Splits a text into fields.
 *
 * @param read_buf  The text. NULs are written over its delimiters, unlike elsewhere.
 * @param fields    Out: where each field starts.
 * @param token     Delimiters; runs of them count as one.
 * @param max_flds  Room of `fields`.
 * @return          Number of fields stored. More fields than that print "Total fields are more than
 *                  max fields (N), remaining fields are ignored" on standard error.
 */
WZ_API int wz_get_tokens_api(char *read_buf, char **fields, char *token, int max_flds);

/**
 * Chooses a service time, which the host's setting for it takes in milliseconds.
 *
 * | mode | result                                                                          |
 * |------|---------------------------------------------------------------------------------|
 * | 0    | 0                                                                               |
 * | 1    | a sample of the exponential distribution whose mean the host has set             |
 * | 2    | `value1`                                                                        |
 * | 3    | a random number from `value1` to `value2` - 1; `value1` when `value2` is no more |
 * | 4    | grows geometrically with the load, from `value1` to `value2` at full load        |
 *
 * @return  The time; -1 for another mode, and for modes 1 and 3 in a host without generators.
 */
WZ_API int wz_get_svc_time(int mode, int value1, int value2);

/** The controller's name, as the host has it from its configuration; null when it has none. */
WZ_API char *wz_get_controller_name(void);

/* ---- connection ---- */

/** How many seconds the connection may stay idle behind this response before the host closes it;
 * 0 or less: as the host has configured. */
WZ_API void wz_ka_time(int ka_time);

/** Resets the client's connection at once: the client gets no response. What the script does
 * afterwards has no effect on the client. Returns 0. */
WZ_API int wz_reset_connection(void);

/**
 * Kept for scripts that call it; forwarding is declared with the response.
 *
 * @param server_addr, proto  For the debug log.
 * @param len                 Out: length of the response so far. May be null.
 * @return                    Always null.
 */
WZ_API char *wz_http_forward_req(char *server_addr, int proto, int *len);

/** Has the backend's response sent to the client, where the host would send one of its own. Both
 * arguments are ignored. Returns 0. */
WZ_API int wz_http_send_forward_rep_to_client(char *response_buf, int len);

/* ---- response ---- */

/**
 * Adds a header line to the response, behind the ones added before. Neither its form nor duplicates
 * are checked, and {name} in it is not expanded: pass it through wz_eval_string for that.
 *
 * @param hdr  The line without its CR LF, such as "X-Trace-Id: 17".
 */
WZ_API void wz_set_http_hdr(char *hdr);

/**
 * Sets the content type of the response. The first call of a request wins; later ones, and lines
 * that do not begin with "Content-Type:" (in any case), are reported in the host's error log. vsd
 * sends this one in place of the response's declared type and of any Content-Type line that the
 * script set with wz_set_http_hdr.
 *
 * @param hdr  The whole line without its CR LF, such as "Content-Type: text/xml".
 */
WZ_API void wz_set_content_type_hdr(char *hdr);

/**
 * Sets the status code of the response.
 *
 * @param code  The code; 0 takes an earlier one back.
 * @return      0; -1 when no request is being served.
 */
WZ_API int wz_set_http_status_code(int code);

/**
 * Sets the whole status line of the response, such as "HTTP/1.1 299 Fine".
 *
 * @param response_line  Not copied: it must stay until the response is sent, so pass a literal or
 *                       static text.
 * @return               0; -1 when no request is being served.
 */
WZ_API int wz_http_set_response_line(char *response_line);

/**
 * Adds a header line to the request that the host forwards to a backend, behind the ones added
 * before.
 *
 * @param hdr  The line without its CR LF.
 */
WZ_API void wz_set_forward_request_hdr(char *hdr);

/* Types of JMS properties; there is no 16. */
#define WZ_JMS_BOOLEAN 11 /**< an int: stored as 1 when it is not 0, as 2 when it is */
#define WZ_JMS_BYTE 12    /**< an int, of which 8 bits are kept */
#define WZ_JMS_DOUBLE 13  /**< a double */
#define WZ_JMS_FLOAT 14   /**< a double, kept in single precision */
#define WZ_JMS_INT 15     /**< an int */
#define WZ_JMS_SHORT 17   /**< an int, of which 16 bits are kept */
#define WZ_JMS_LONG 18    /**< a long long */

/**
 * Sets a property of the JMS messages of this service: of all of them from now on, not only for the
 * request being served. Every call adds one.
 *
 * @param hdr         Its name, up to 255 characters; the rest is cut.
 * @param value_type  WZ_JMS_*; any other type adds nothing.
 * @param ...         The value, of the type's width.
 */
WZ_API void wz_set_tibco_hdr(char *hdr, int value_type, ...);

/**
 * Makes sure that the request being served has a response record; the setters above call it.
 *
 * @return  0; -1 when no request is being served.
 */
WZ_API int check_alloc_url_data(void);

/* ---- encryption ----
 *
 * <wz/wzlb_crypt.h> has AES, digests and signatures, <wz/wz_rsa.h> has RSA; both are included.
 */

/**
 * wzlb_encrypt_with_aes_128_cbc, with its limits, for scripts that have always called it.
 *
 * @param key,iv  16 bytes each.
 * @param intext  NUL-terminated text.
 * @param cipher  Room for 4 x ((strlen(intext) + 18) / 3) + 1 bytes. Receives the base64.
 * @return        Always 0, deliberately: look at `cipher`, made empty before the call.
 */
WZ_API int wz_encrypt_with_aes_128_cbc(unsigned char *key, unsigned char *iv, unsigned char *intext,
                                       unsigned char *cipher);

/* ---- helpers ---- */

/* Where the text of wz_exec_js comes from and where its result goes. */
#define WZ_JS_TEXT 0  /**< the argument itself */
#define WZ_JS_PARAM 1 /**< the variable that it names */
#define WZ_JS_FILE 2  /**< the file that it names */

/**
 * Runs a JavaScript (ECMAScript 5) program and takes the value of its last expression, as text.
 *
 *     char sum[32], problem[128];
 *     wz_save_string(wz_eval_string("var price = {price}; (price * 1.19).toFixed(2)"), "program");
 *     if (wz_exec_js(WZ_JS_PARAM, "program", WZ_JS_TEXT, sum, sizeof sum, problem, 128) != 0)
 *       wz_trace_log("js", problem);
 *
 * Each call starts with a fresh engine: nothing of an earlier program is left. A program that does
 * not end holds the script; the host's limit on scripts (SCRIPT_TIMEOUT in vsd) ends both.
 *
 * @param inp_type     WZ_JS_TEXT, WZ_JS_PARAM (the variable's name takes up to 2046 characters) or
 *                     WZ_JS_FILE.
 * @param inp          The program, a variable's name or a file's name; not empty.
 * @param out_type,out WZ_JS_TEXT: the buffer for the result and a NUL; what does not fit is cut.
 *                     WZ_JS_PARAM: the variable to save it to. WZ_JS_FILE: the file to write it to;
 *                     what was in it is gone.
 * @param out_size     Bytes of the buffer.
 * @param js_err_msg   Gets a message on failure, else the empty text. May be null.
 * @param js_err_mlen  Bytes of `js_err_msg`.
 * @return             0; -1 with a message.
 */
WZ_API int wz_exec_js(int inp_type, char *inp, int out_type, char *out, int out_size,
                      char *js_err_msg, int js_err_mlen);

/** An identifier that no other process of the machine has: seconds, process and a counter, in
 * hexadecimal. Valid until the next call. */
WZ_API char *wz_get_guid(void);

/**
 * MD5 of bytes, as 32 lower-case hexadecimal digits.
 *
 * @param buf           The bytes.
 * @param len           Their number.
 * @param checksum_buf  At least 33 bytes.
 * @return              0; -1 for a null argument.
 */
WZ_API int wz_gen_md5_checksum(const unsigned char *buf, int len, unsigned char *checksum_buf);
/** Writes 16 bytes as 32 lower-case hexadecimal digits and a NUL. */
WZ_API void wz_md5_checksum_to_ascii(unsigned char *source, unsigned char *dest);

/** Writes `src` backwards into `dest`, which has room for it, and returns `dest`. */
WZ_API char *wz_strrev(char *src, char *dest);

/**
 * Writes "Msg|time|name|value" to the host's trace log. Whether it is written is a setting of the
 * response, else of the service, else of the host.
 *
 * @param value  A template, which is expanded.
 */
WZ_API void wz_trace_log(char *name, char *value);

/** A random number from `min` to `max` as text: a block of its own, to be given to free(). */
WZ_API char *wz_get_random_num(int min, int max);
/** A random number from `min` to `max`. */
WZ_API int wz_get_random_num_int(int min, int max);
/** `min` to `max` random letters A to Z: a block of its own, to be given to free(). */
WZ_API char *wz_get_random_str(int min, int max);
/** The first two digits of a unique number, deliberately no more: for a whole one declare a
 * wz_unique_number_var. A block of its own, to be given to free(). */
WZ_API char *wz_get_unique_number(void);

WZ_END_DECLS

#endif
