/* What scripts/demo loads from /etc/services. */
struct Service {
    uint16_t port;
    char proto[6];
    char name[32];
};
