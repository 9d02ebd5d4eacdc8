/* What halyx-writer churn writes into a static collection. */
struct ChurnValue {
    uint64_t key;
    uint64_t sequence;
    uint32_t extra;    /* hex */
    uint32_t checksum; /* hex */
};
