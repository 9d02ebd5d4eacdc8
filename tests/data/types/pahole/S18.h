struct S18 {
	struct sockaddr_in         addr;                 /*     0    16 */
	struct in6_addr            six;                  /*    16    16 */

	/* size: 32, cachelines: 1, members: 2 */
	/* last cacheline: 32 bytes */
};
