/* What halyx-writer churn writes into a dynamic collection. */
struct ChurnRecord {
    uint64_t key;
    uint64_t sequence;
    uint32_t length;      /* bytes of the whole value */
    uint32_t checksum;    /* hex */
    uint8_t filler[232];  /* hex */
};
