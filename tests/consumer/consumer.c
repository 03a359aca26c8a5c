/* A program outside the qz_nds tree: uses only the installed header and
   library. Connects to the device at argv[1], reads its configuration and
   prints the serial number. Exit status 0 when every step succeeded. */
#include <qz_net_dev_setting.h>
#include <stdio.h>

static int fail(const char *step) {
  fprintf(stderr, "consumer: %s failed\n", step);
  return 1;
}

int main(int argc, char **argv) {
  if (argc != 2) {
    fprintf(stderr, "usage: %s ADDRESS\n", argv[0]);
    return 2;
  }
  printf("qz_nds %s\n", QZ_NDS_VERSION_STRING);

  qz_nds_handle handle = NULL;
  if (!qz_nds_init(&handle)) {
    if (handle != NULL) qz_nds_uninit(&handle);
    return fail("qz_nds_init");
  }
  int status = 0;
  if (!qz_nds_connect(handle, argv[1])) {
    status = fail("qz_nds_connect");
  } else {
    char sn[33] = {0};
    uint32_t len = 0;
    if (!qz_nds_get_machine_config_info(handle)) {
      status = fail("qz_nds_get_machine_config_info");
    } else if (!qz_nds_get_sn(handle, sn, &len) || len == 0 || len > 32) {
      status = fail("qz_nds_get_sn");
    } else {
      printf("serial number: %.*s\n", (int)len, sn);
    }
    if (!qz_nds_disconnect(handle)) status = fail("qz_nds_disconnect");
  }
  if (!qz_nds_uninit(&handle) || handle != NULL) status = fail("qz_nds_uninit");
  return status;
}
