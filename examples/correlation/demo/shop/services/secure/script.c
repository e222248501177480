#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <wz/wz_script.h>
#include <wz/wzlb_wdir.h>

/* What the clients encrypt with: AES-128-CBC, in hex 00112233445566778899aabbccddeeff. Everybody
 * knows this one; read yours from a file that only vsd can read, as the signing key below. */
static unsigned char field_key[16] = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77,
                                      0x88, 0x99, 0xaa, 0xbb, 0xcc, 0xdd, 0xee, 0xff};

/* The signing key's PEM text, read at its first use; null when it cannot be read. */
static char *signing_key(void)
{
  static char pem[8192];
  char path[WZLB_WDIR_SIZE + 128];
  FILE *file;

  if (pem[0] != '\0')
    return pem;
  snprintf(path, sizeof path, "%s/correlation/demo/shop/services/secure/data/signing_key.pem",
           g_wz_wdir);
  file = fopen(path, "r");
  if (file == NULL)
    return NULL;
  pem[fread(pem, 1, sizeof pem - 1, file)] = '\0';
  fclose(file);
  return pem;
}

/* Decrypts base64 with an IV of 32 hex digits. The length of the account, or -1. */
static int decrypt_account(char *iv_text, char *field, unsigned char *account, int size)
{
  char why[1024]; /* the message shows the field */
  int iv_length, result;
  char *iv;

  if (strlen(iv_text) != 32)
    return -1;
  iv = wzlb_decode_hex_to_text(iv_text, 32, &iv_length);
  result = wzlb_do_crypt((unsigned char *)field, (int)strlen(field), WZLB_AES_128_CBC, 1, field_key,
                         (unsigned char *)iv, account, size, 0, why);
  free(iv);
  return result;
}

void post_recv(void)
{
  char iv[64], field[256];
  unsigned char account[sizeof field], signature[512];
  char *text, *key;
  int length;

  wz_chk_strcpy(iv, wz_eval_string("{iv}"), sizeof iv);
  if (wz_chk_strcpy(field, wz_eval_string("{field}"), sizeof field) != 0)
    return; /* longer than any account: the answer is "refused" */
  length = decrypt_account(iv, field, account, sizeof account);
  if (length <= 0)
    return;
  wz_save_binary_val((char *)account, "account", length);

  text = wz_eval_string("{account}={balance}");
  key = signing_key();
  if (key != NULL && wzlb_evp_sign(text, (int)strlen(text), WZLB_DIGEST_SHA256, key, signature,
                                   sizeof signature) == 0)
    wz_save_string((char *)signature, "signature");
}
