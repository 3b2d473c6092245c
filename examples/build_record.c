/*
 * build_record - stores a configuration record and reads it back.
 *
 *   build_record FILE
 *
 * Makes the record of a small build, writes its compressed form into the file as peers exchange it, reads the file and
 * prints what was built of what. "tbs cr show FILE" shows it too.
 */
#include <stdio.h>
#include <string.h>
#include <tbs/tbs.h>

enum { MOST = 65536 };

/* Everything belongs to the caller here; the library only reads it. */
static tbs_status_t make(tbs_cr_compressed_t **made) {
    char source_name[] = "/vobs/tools/hello.c", header_name[] = "/vobs/tools/hello.h", no_checksum[] = "";
    tbs_cr_fs_predef_t source = {.pathname = source_name, .checksum = no_checksum, .size = 120, .mtime = 1700000000};
    tbs_cr_fs_predef_t header = {.pathname = header_name, .checksum = no_checksum, .size = 40, .mtime = 1690000000};
    tbs_cr_fs_predef_t *files[] = {&source, &header};
    char target[] = "hello.o", command[] = "cc -c hello.c", user[] = "mira", host[] = "forge";
    tbs_cr_t record = {.build_time = 1700000100,
                       .elapsed = 2,
                       .user = user,
                       .host = host,
                       .target = target,
                       .command = command,
                       .fs_predef_count = 2,
                       .fs_predefs = files};
    return tbs_cr_to_compressed(&record, made);
}

/* Encodes into a buffer and writes it. */
static int store(const char *path, tbs_cr_compressed_t *record) {
    static char buffer[MOST];
    XDR stream;
    xdrmem_create(&stream, buffer, sizeof buffer, XDR_ENCODE);
    FILE *file = xdr_tbs_cr_compressed_t(&stream, record) ? fopen(path, "wb") : NULL;
    if (!file) return 0;
    const size_t size = XDR_GETPOS(&stream), written = fwrite(buffer, 1, size, file);
    return fclose(file) == 0 && written == size;
}

/* What is decoded into begins with zeros, and is released whatever the result. */
static int show(const char *path) {
    static char buffer[MOST];
    FILE *file = fopen(path, "rb");
    if (!file) return 0;
    const size_t size = fread(buffer, 1, sizeof buffer, file);
    fclose(file);

    XDR stream;
    tbs_cr_compressed_t compressed = {0};
    tbs_cr_t record;
    memset(&record, 0, sizeof record);
    xdrmem_create(&stream, buffer, (u_int)size, XDR_DECODE);
    const int read =
        xdr_tbs_cr_compressed_t(&stream, &compressed) && tbs_cr_compressed_to_cr(&compressed, &record) == 0;
    if (read) {
        printf("%s: %s\n", record.target, record.command);
        for (uint32_t i = 0; i < record.fs_predef_count; i++) {
            const tbs_cr_fs_predef_t *one = record.fs_predefs[i];
            printf("  %s, %lld bytes\n", one->pathname, (long long)one->size);
        }
    }
    tbs_cr_free_cr_xdr(&record);
    XDR release = {.x_op = XDR_FREE};
    xdr_tbs_cr_compressed_t(&release, &compressed);
    return read;
}

int main(int argc, char **argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: build_record FILE\n");
        return 2;
    }
    tbs_cr_compressed_t *made = NULL;
    const tbs_status_t status = make(&made);
    if (status != 0) {
        fprintf(stderr, "build_record: %s\n", tbs_strerror(status));
        return 2;
    }
    const int done = store(argv[1], made) && show(argv[1]);
    tbs_cr_free_compressed_stg(made);
    if (!done) fprintf(stderr, "build_record: the record was not stored or not read\n");
    return done ? 0 : 2;
}
