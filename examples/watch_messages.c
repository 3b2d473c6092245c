/*
 * watch_messages - takes the library's messages for its own log.
 *
 *   watch_messages ACL-FILE
 *
 * Reads an ACL file and prints each message of the library as severity, module, published number and text, the way a
 * server hands them to the log that it keeps.
 */
#include <stdio.h>
#include <tbs/tbs.h>

typedef struct journal {
    unsigned errors, warnings;
} journal_t;

/* Called with the library's lock held: nothing is printed through the library here. */
static void take(void *context, int severity, const char *module, const imsg_table_t *table, uint32_t index,
                 const char *text) {
    journal_t *journal = context;
    if (severity == IMSG_ERROR) journal->errors++;
    if (severity == IMSG_WARNING) journal->warnings++;
    printf("severity %d, %s %u: %s", severity, module, table ? (unsigned)table->numbers[index] : 0u, text);
}

int main(int argc, char **argv) {
    static const tbs_acl_generic_map_t map = {0x00020001, 0x000201ff, 0x00000201, 0x0007ffff};
    if (argc != 2) {
        fprintf(stderr, "usage: watch_messages ACL-FILE\n");
        return 2;
    }
    journal_t journal = {0, 0};
    imsg_set_sink(take, &journal);
    tbs_sid_acl_h_t acl = NULL;
    const tbs_status_t status = tbs_sid_acl_utl_parse(argv[1], NULL, 0, &map, &acl);
    imsg_set_sink(NULL, NULL);
    tbs_sid_acl_free(&acl);
    printf("%d: %s, %u errors, %u warnings\n", (int)status, status == 0 ? "read" : tbs_strerror(status),
           journal.errors, journal.warnings);
    return status == 0 ? 0 : 1;
}
