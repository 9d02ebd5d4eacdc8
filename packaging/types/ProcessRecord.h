/* What halyx-writer mirror-proc writes: one process. */
struct ProcessRecord {
    uint32_t pid;
    uint32_t parent;
    char state;
    uint32_t threads;
    uint64_t resident;  /* bytes */
    uint64_t startTime; /* time */
    char command[128];
};
