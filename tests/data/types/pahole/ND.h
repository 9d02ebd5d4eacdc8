struct ND : NB {
	/* struct NB                  <ancestor>; */     /*     0     8 */

	/* XXX last struct has 2 bytes of padding */
	/* XXX 65534 bytes hole, try to pack */

	char                       d;                    /*     6     1 */

	/* XXX 1 byte hole, try to pack */

	int                        e;                    /*     8     4 */

	/* size: 12, cachelines: 1, members: 3 */
	/* sum members: 5, holes: 2, sum holes: 65535 */
	/* paddings: 1, sum paddings: 2 */
	/* last cacheline: 12 bytes */

	/* BRAIN FART ALERT! 12 bytes != 5 (member bytes) + 0 (member bits) + 65535 (byte holes) + 0 (bit holes), diff = -524224 bits */
};
