/* Codecs: URL and HTML, base64, hexadecimal, binary digits, EBCDIC. */
#ifndef WZLB_ENCODE_DECODE_H
#define WZLB_ENCODE_DECODE_H

#include <wz/wz_base.h>

WZ_BEGIN_DECLS

WZ_API char *wz_url_decoding(char *destination, int length, char *source);
WZ_API char *wz_url_decoding_ex(char *destination, int max_out_length, int length, char *source);
WZ_API char *wzlb_encode_html(char *in_str, int in_str_len, char *out_str);
WZ_API char *wzlb_decode_html(char *in_str, int in_str_len, char *out_str);
WZ_API void wzlb_html_encoding(char *src, char *dest);

WZ_API int wzlb_encodeblock(char *input, char *output, int oplen);
WZ_API int wzlb_decodeblock(char *input, char *output, int oplen);
WZ_API char *wzlb_encode_base64(char *input, int oplen, char *output);
WZ_API char *wzlb_decode_base64(char *input, int oplen, char *output);
WZ_API int wzlb_encode_base64_ex(unsigned char *input, int input_length, unsigned char *output,
                                 int output_size);
WZ_API int wzlb_decode_base64_ex(unsigned char *input, int input_length, unsigned char *output,
                                 int output_size);
WZ_API int wzlb_binary_base64encode(void *data_buf, size_t dataLength, char *result,
                                    size_t resultSize);
WZ_API int Base64Encode(unsigned char *buffer, size_t length, char **b64text);
WZ_API size_t calcDecodeLength(char *b64input);
WZ_API int Base64Decode(char *b64message, unsigned char **buffer, int *length);

WZ_API char *wzlb_encode_text_to_hex(char *in, int len, int *con_len);
WZ_API char *wzlb_decode_hex_to_text(char *in, int len, int *con_len);
WZ_API char *wzlb_encode_text_to_bin(char *in, int len, int *con_len);
WZ_API char *wzlb_encode_text_to_bin_new(char *in, int len, int *con_len);
WZ_API char *wzlb_dec_bin_to_text(char *in, int len, int *con_len);
WZ_API char *wzlb_encode_text_to_base64(char *in, int len, int *con_len);
WZ_API char *wzlb_decode_base64_to_text(char *in, int len, int *con_len);
WZ_API char *wzlb_encode_hex_to_bin(char *in, int len, int *con_len);
WZ_API char *wzlb_encode_base64_to_hex(char *in, int len, int *con_len);
WZ_API char *wzlb_encode_base64_to_bin(char *in, int len, int *con_len);
WZ_API char *wzlb_encode_hex_to_base64(char *in, int len, int *con_len);
WZ_API char *wzlb_encode_bin_to_hex(char *in, int len, int *con_len);
WZ_API char *wzlb_encode_bin_to_base64(char *in, int len, int *con_len);
WZ_API char *wzlb_ebcdic_to_ascii(char *in, int len, int *con_len);
WZ_API char *wzlb_ascii_to_ebcdic(char *in, int len, int *con_len);

WZ_API char *bin2hex(unsigned char *bin, int len, char *enc_hex);
WZ_API int binaryToDecimal(char *binary, int length);
WZ_API int binaryToText(char *binary, int binaryLength, char *text, int symbolCount);
WZ_API int textToBinary(char *text, int textLength, char *binary, int binaryLength);
WZ_API void EBCDIC_to_ASCII(unsigned char *input, int len, char *output, int *con_len);
WZ_API void ASCII_to_EBCDIC(unsigned char *input, int len, char *output, int *con_len);

WZ_END_DECLS

#endif
