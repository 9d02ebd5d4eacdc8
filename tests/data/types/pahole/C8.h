class C8 {
public:

	void C8(class C8 *);

	int get(const class C8  *);

	int                        x_;                   /*     0     4 */

	/* XXX 4 bytes hole, try to pack */
protected:


	long int                   y_;                   /*     8     8 */
	extern int                        z;

	bool                       b_;                   /*    16     1 */

	/* size: 24, cachelines: 1, members: 3 */
	/* sum members: 13, holes: 1, sum holes: 4 */
	/* padding: 7 */
	/* last cacheline: 24 bytes */
};
